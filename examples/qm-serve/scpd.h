// scpd.h - what the services of a media server can do, as UPnP describes it.
#ifndef QM_SERVE_SCPD_H
#define QM_SERVE_SCPD_H

#include <string>

namespace serve {

// The service descriptions of ContentDirectory:1 and ConnectionManager:1, in
// XML (UPnP Device Architecture 1.0, section 2.3).
std::string content_directory_scpd();
std::string connection_manager_scpd();

}

#endif
