#pragma once

// Everything a host needs:
//
//   #include <lumora/lumora.hpp>
//
//   class Host : public lumora::LumoraAdBeaconCallback { ... };
//   lumora::LumoraAdBeaconSDK::shared().initiate(profile, std::make_shared<Host>(),
//                                                lumora::Environment::stage);
//   lumora::LumoraAdBeaconSDK::shared().start();

#include "lumora/BeaconSettingsError.hpp"
#include "lumora/ClientProfile.hpp"
#include "lumora/Environment.hpp"
#include "lumora/LinuxBundle.hpp"
#include "lumora/LinuxLocationPolicy.hpp"
#include "lumora/LinuxTrust.hpp"
#include "lumora/LogControl.hpp"
#include "lumora/LumoraAdBeaconCallback.hpp"
#include "lumora/LumoraAdBeaconError.hpp"
#include "lumora/LumoraAdBeaconErrorType.hpp"
#include "lumora/LumoraAdBeaconSDK.hpp"
#include "lumora/LumoraAdCreative.hpp"
#include "lumora/ReachabilityError.hpp"
#include "lumora/export.hpp"
#include "lumora/version.hpp"
