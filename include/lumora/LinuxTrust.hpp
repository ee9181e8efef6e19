#pragma once

// Which certificate authorities the library's HTTPS trusts on Linux.
//
// The library always trusts the system's store (/etc/ssl/certs). A host that
// talks to servers signed by a private CA (a staging server, lumora-devserver)
// adds that CA's certificates, in addition to the system's store, before
// anything else touches the SDK:
//
//   #include <lumora/LinuxTrust.hpp>
//
//   int main() {
//     lumora::setExtraCertificateAuthorities("/etc/myapp/staging-ca.pem");
//     lumora::LumoraAdBeaconSDK::shared();
//   }
//
// A host that cannot change its code sets the environment variable
// LUMORA_CA_FILE=/path/to/ca.pem instead. When both are given, the file named
// in code is used and the variable is ignored. A file that cannot be read or
// holds no PEM certificate is reported in an error log line and left out: the
// system's store keeps working.

#include <string>

#include "lumora/export.hpp"

namespace lumora {

/// Trusts the certificate authorities in `pemFile` (one or more PEM
/// certificates) in addition to the system's store, in place of any file
/// named by LUMORA_CA_FILE. An empty string withdraws the choice (the
/// variable applies again). Must be called before the SDK's first HTTPS
/// request; the file is read once, when the library's HTTP session starts.
LUMORA_EXPORT void setExtraCertificateAuthorities(std::string pemFile);

}  // namespace lumora
