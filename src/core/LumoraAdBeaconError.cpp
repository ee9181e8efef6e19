#include "lumora/LumoraAdBeaconError.hpp"

#include <utility>

namespace lumora {

LumoraAdBeaconError::LumoraAdBeaconError(LumoraAdBeaconErrorType code)
    : LumoraAdBeaconError(code, std::string(description(code))) {}

LumoraAdBeaconError::LumoraAdBeaconError(LumoraAdBeaconErrorType code, std::string message)
    : code_(code), message_(std::move(message)) {}

LumoraAdBeaconErrorType LumoraAdBeaconError::code() const noexcept { return code_; }

const std::string& LumoraAdBeaconError::message() const noexcept { return message_; }

const char* LumoraAdBeaconError::what() const noexcept { return message_.c_str(); }

}  // namespace lumora
