#pragma once

#include <exception>
#include <string>

#include "lumora/LumoraAdBeaconErrorType.hpp"
#include "lumora/export.hpp"

namespace lumora {

/// Every error that reaches the host: a code and a message.
class LUMORA_EXPORT LumoraAdBeaconError : public std::exception {
 public:
  /// The message is the code's fixed description.
  explicit LumoraAdBeaconError(LumoraAdBeaconErrorType code);
  /// An error with its own message.
  LumoraAdBeaconError(LumoraAdBeaconErrorType code, std::string message);

  /// What went wrong.
  LumoraAdBeaconErrorType code() const noexcept;
  /// A text for people: the code's description or a more specific message.
  const std::string& message() const noexcept;
  /// The message.
  const char* what() const noexcept override;

 private:
  LumoraAdBeaconErrorType code_;
  std::string message_;
};

}  // namespace lumora
