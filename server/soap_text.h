// soap_text.h - what all SOAP answers of the server begin with.
#ifndef SERVER_SOAP_TEXT_H
#define SERVER_SOAP_TEXT_H

// A literal, so that it can stand in front of a format. SOAP 1.1, section 4.
#define SOAP_ENVELOPE                                                          \
    "<?xml version=\"1.0\" encoding=\"utf-8\"?>"                               \
    "<s:Envelope"                                                              \
    " xmlns:s=\"http://schemas.xmlsoap.org/soap/envelope/\""                   \
    " s:encodingStyle=\"http://schemas.xmlsoap.org/soap/encoding/\">"

namespace soap {

// The blank in front is meant: clients have only ever seen it so.
constexpr char mime_type[] = " text/xml; charset=\"utf-8\"";

}

#endif
