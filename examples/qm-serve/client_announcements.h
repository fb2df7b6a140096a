// client_announcements.h - devices that announce themselves are looked at.
#ifndef QM_SERVE_CLIENT_ANNOUNCEMENTS_H
#define QM_SERVE_CLIENT_ANNOUNCEMENTS_H

namespace serve {

// Registers the handler, for good: what a device's description tells about its
// needs is known before it asks for anything.
void follow_announcements();

}

#endif
