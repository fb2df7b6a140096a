// search_responder.h - answers the searches of control points.
#ifndef QM_SERVE_SEARCH_RESPONDER_H
#define QM_SERVE_SEARCH_RESPONDER_H

namespace serve {

// Registers the handler, for good. Only searches for what this device is are
// answered; so many in a second, and the same one once in a second.
void answer_searches();

}

#endif
