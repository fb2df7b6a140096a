// upnp_error.cpp - the error codes of UPnP actions, and the SOAP fault.

#include "server/upnp_error.h"

#include "http/http_header.h"
#include "runtime/upnp_socket.h"
#include "server/soap_text.h"

const char g_strUPnPError[] =
    SOAP_ENVELOPE "\n <s:Body>\n"
                  "  <s:Fault>\n"
                  "   <faultcode>s:Client</faultcode>\n"
                  "   <faultstring>UPnPError</faultstring>\n"
                  "   <detail>\n"
                  "    <UPnPError xmlns=\"urn:schemas-upnp-org:control-1-0\">\n"
                  "     <errorCode>%d</errorCode>\n"
                  "     <errorDescription>%s</errorDescription>\n"
                  "    </UPnPError>\n"
                  "   </detail>\n"
                  "  </s:Fault>\n"
                  " </s:Body>\n"
                  "</s:Envelope>\n";

// The first row stands for every unknown code. The last four are the result
// codes of the library's own functions.
// clang-format off
static constexpr UpnpErrorMessage library_table[] = {
    { 400, "Bad request" },
    { 401, "Invalid Action" },
    { 402, "Invalid Args" },
    { 412, "Precondition failed" },
    { 500, "Internal error" },
    { 501, "Action Failed" },
    { 507, "Insufficient Storage" },
    { 600, "Argument Value Invalid" },
    { 601, "Argument Value Out of Range" },
    { 602, "Optional Action Not implemented" },
    { 603, "Out of Memory" },
    { 604, "Human Intervention Required" },
    { 605, "String Argument Too Long" },
    { 606, "Action not authorized" },
    { 607, "Signature failure" },
    { 608, "Signature missing" },
    { 609, "Not encrypted" },
    { 610, "Invalid Sequence" },
    { 611, "Invalid control URL" },
    { 612, "No such session" },
    { 701, "No such object" },
    { 702, "No contents" },
    { 703, "Read error" },
    { 704, "Format not supported for playback" },
    { 705, "Transport is locked" },
    { 706, "Invalid connection reference." },
    { 708, "Invalid search criteria" },
    { 709, "Invalid sort criteria" },
    { 710, "No such container" },
    { 711, "Illegal seek target" },
    { 712, "Bad metadata" },
    { 713, "Restricted parent object" },
    { 714, "Illegal MIME-type" },
    { 715, "Content BUSY" },
    { 716, "Resource not found" },
    { 717, "Play speed not supported" },
    { 718, "Invalid InstanceID" },
    { 719, "Destination resource access denied" },
    { 801, "Access denied" },
    {   0, "Success" },
    {   2, "Bad parameter" },
    {   8, "Out of memory" },
    {  14, "Failed" },
    {  -1, "" },
};
// clang-format on

static const UpnpErrorMessage *program_table;

// The row of a code; null if the table, which may be null, has none.
static const UpnpErrorMessage *find_row(const UpnpErrorMessage *table,
                                        int32_t                 code)
{
    if (!table || code < 0)
        return nullptr;
    for (auto row = table; row->code >= 0 && row->message; ++row) {
        if (row->code == code)
            return row;
    }
    return nullptr;
}

static const UpnpErrorMessage &row_of(int32_t code)
{
    const UpnpErrorMessage *row = find_row(program_table, code);

    if (!row)
        row = find_row(library_table, code);
    return row ? *row : library_table[0];
}

static int32_t http_status_of(int32_t code)
{
    return code == 400 || code == 412 || code == 501 ? code : 500;
}

void upnp_set_errmsgs(const UpnpErrorMessage *table)
{
    program_table = table;
}

const char *upnp_get_errmsg(int32_t code)
{
    return row_of(code).message;
}

UpnpString *upnp_error(int32_t code)
{
    const UpnpErrorMessage &row = row_of(code);

    return upnp_string_sprintf(nullptr, g_strUPnPError, row.code, row.message);
}

int32_t upnp_send_error(HttpRequest *request, int32_t code)
{
    UpnpString *fault = upnp_error(code);
    int32_t     result;

    if (!fault)
        return HTTP_send_header(request, 501);
    if (!request) {
        upnp_string_free(fault);
        return HTTP_send_header(nullptr, 500);
    }

    request->content_length = fault->length;
    request->mime_type = soap::mime_type;
    result = HTTP_send_header(request, http_status_of(code));
    if (result == 0 &&
        upnp_send(request->socket, fault->buffer, fault->length) == -1)
        result = 1;
    upnp_string_free(fault);
    return result;
}
