#pragma once

// Where the library finds its resources ("sdk.plist") on Linux.
//
// By default the library looks in the directory of its own shared object
// (for example /usr/lib/x86_64-linux-gnu/), then in <prefix>/share/lumora/
// (../share/lumora/ or, for a multiarch library directory, ../../share/lumora/). A host that ships
// the file elsewhere names the directory before anything else touches the SDK:
//
//   #include <lumora/LinuxBundle.hpp>
//
//   int main() {
//     lumora::setBundleDirectory("/opt/myapp/resources");  // holds sdk.plist
//     lumora::LumoraAdBeaconSDK::shared();
//   }

#include <string>

#include "lumora/export.hpp"

namespace lumora {

/// Makes `directory` the only place the library reads its resources from.
/// Must be called before the first LumoraAdBeaconSDK::shared(); later calls do
/// not affect a bundle the library has already opened.
LUMORA_EXPORT void setBundleDirectory(std::string directory);

}  // namespace lumora
