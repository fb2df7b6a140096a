// soap.h - actions of UPnP services: read, called, answered.
//
// UPnP Device Architecture 1.0, section 3.
#ifndef QM_SERVE_SOAP_H
#define QM_SERVE_SOAP_H

#include "documents/upnp_xml.h"
#include "http/http.h"

#include <cstdint>
#include <initializer_list>
#include <span>
#include <string>

namespace serve {

// UPnP error codes that answers give.
enum {
    INVALID_ACTION = 401,
    INVALID_ARGS = 402,
    VALUE_INVALID = 600,
    NO_SUCH_OBJECT = 701,
    INVALID_SEARCH_CRITERIA = 708,
    INVALID_SORT_CRITERIA = 709,
    NO_SUCH_CONTAINER = 710,
    CANNOT_PROCESS = 720
};

// One action of one request. All is borrowed for the time of the call.
struct SoapCall {
    HttpRequest   *request;
    const char    *service;  // its type
    const char    *action;
    const XmlNode *arguments;  // the first one; null for none
};

// Answers an action in full; returns what a handler returns.
using SoapFunction = int32_t (*)(const SoapCall &call);

struct SoapAction {
    const char  *name;
    SoapFunction answer;
};

struct SoapArgument {
    const char *name;
    std::string value;
};

// Calls the action that the body of a request names.
int32_t call_action(HttpRequest *request, const char *service,
                    std::span<const SoapAction> actions);

// The text of an argument, "" for an empty one; null if there is none.
const char *argument(const SoapCall &call, const char *name);

// The same as a ui4. False if it is none.
bool number_argument(const SoapCall &call, const char *name, uint32_t &number);

// The answers: with these arguments, or with an error code.
int32_t send_answer(const SoapCall                     &call,
                    std::initializer_list<SoapArgument> arguments);
int32_t send_fault(const SoapCall &call, int32_t code);

// Refuses a subscription: the services send no events.
int32_t refuse_subscription(HttpRequest *request);

}

#endif
