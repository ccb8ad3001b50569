// Which faults of a server's certificate are forgiven.
#pragma once

#include <curl/curl.h>

#include "platform/linux/internet_lanes.h"

namespace qvant::platform {

/// Sets up the check of certificates: against the system's store or the one that SSL_CERT_FILE and SSL_CERT_DIR name,
/// forgiving dates and revocation alone. A refusal is noted in `fault`, which must outlive the handle's connections.
void CheckCertificates(CURL* hEasy, CertificateFault& fault);

}  // namespace qvant::platform
