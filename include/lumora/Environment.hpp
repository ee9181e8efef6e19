#pragma once

namespace lumora {

/// Which group of endpoints "sdk.plist" supplies: staging or production servers.
enum class Environment { stage, production };

}  // namespace lumora
