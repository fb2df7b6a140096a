// admin.h - the page on which an operator sees and changes settings.
//
// "/admin" is a page of sections, each with forms that are posted back to
// "/admin". A form begins with form_head, whose token tells that it was on a
// page of this process: pages of other sites cannot post. Once a form was
// acted upon, the browser is sent back to the page.
//
// Whoever may use the server may use the page, but never at the remote port.
#ifndef QM_SERVE_ADMIN_H
#define QM_SERVE_ADMIN_H

#include "http/http.h"

#include <cstdint>
#include <map>
#include <string>

namespace serve {

// The fields of a form, decoded; of two with one name the last.
using FormFields = std::map<std::string, std::string>;

// Called on many threads at once.
struct AdminSection {
    const char *name;   // of "section" in its forms
    const char *title;  // for people

    // What stands below the title.
    std::string (*html)(const std::string &token);

    // Does what a form of this section says. False for a form that makes no
    // sense: the answer is then 400.
    bool (*act)(const FormFields &fields);

    // Answers a GET or HEAD of "/admin/NAME" in full, with what a handler
    // returns in result. False for a name of another section. May be null.
    bool (*download)(HttpRequest *request, const std::string &name,
                     int32_t &result);
};

// The beginning of a form of a section, up to and with its hidden fields; the
// caller adds fields, a button and "</form>".
std::string form_head(const AdminSection &section, const std::string &token);

// The value of a field, "" for one that is not there.
std::string field(const FormFields &fields, const char *name);

// Registers the page.
void register_admin();

}

#endif
