#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace lumora {

/// A validated creative as the creative server describes it.
struct Creative {
  /// At most maxFrequency deliveries per beacon within intervalHours hours.
  struct FrequencyCapping {
    std::int64_t intervalHours = 0;
    std::int64_t maxFrequency = 0;
  };

  std::int64_t campaignId = 0;
  std::int64_t creativeId = 0;
  std::string title;
  std::string message;
  std::optional<std::string> data;
  std::optional<FrequencyCapping> frequencyCapping;
};

}  // namespace lumora
