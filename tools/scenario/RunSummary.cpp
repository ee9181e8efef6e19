#include "scenario/RunSummary.hpp"

#include <string_view>

#include "scenario/StatusNames.hpp"

namespace lumora::tools {
namespace {

constexpr std::int64_t kWarningLevel = 2;
constexpr std::int64_t kErrorLevel = 3;
constexpr std::string_view kSendFailure = "Failed to send event";

/// Why a detected beacon ended without a creative, for the codes that mean so.
std::optional<std::string_view> suppressionReason(LumoraAdBeaconErrorType code) {
  switch (code) {
    case LumoraAdBeaconErrorType::frequencyCapExceeded:
      return "frequency cap";
    case LumoraAdBeaconErrorType::notFoundCreative:
      return "no creative";
    case LumoraAdBeaconErrorType::invalidCreative:
      return "invalid creative";
    case LumoraAdBeaconErrorType::forbiddenFetchCreative:
      return "fetch forbidden";
    case LumoraAdBeaconErrorType::internetConnectionUnavailable:
      return "offline";
    default:
      return std::nullopt;
  }
}

std::string row(std::string_view label, const std::string& text) {
  constexpr std::size_t kLabelWidth = 21;
  std::string line = "  " + std::string(label);
  line.resize(2 + kLabelWidth, ' ');
  return line + text;
}

}  // namespace

void RunSummary::count(const SimRecord& record) {
  if (const auto* callback = std::get_if<CallbackRecord>(&record)) {
    countCallback(*callback);
  } else if (const auto* log = std::get_if<LogLineRecord>(&record)) {
    countLog(*log);
  } else if (std::holds_alternative<NotificationRecord>(record)) {
    ++notifications_;
  }
}

void RunSummary::countCallback(const CallbackRecord& record) {
  if (record.name == "onCreativeReceived") ++delivered_;
  if (record.name == "onNotificationClicked") ++taps_;
  if (record.error) ++errorsByCode_[rawValue(record.error->code())];
}

void RunSummary::countLog(const LogLineRecord& record) {
  if (record.line.level == kWarningLevel) ++warnings_;
  if (record.line.level == kErrorLevel) ++errorLines_;
  if (record.line.message.starts_with(kSendFailure)) ++sendFailures_;
}

std::vector<std::string> RunSummary::lines(const std::optional<ServerTally>& server) const {
  std::vector<std::string> result{"summary"};
  result.push_back(row("creatives delivered",
                       std::to_string(delivered_) + " (" + std::to_string(notifications_) +
                           " notifications, " + std::to_string(taps_) + " tapped)"));
  std::size_t suppressed = 0;
  std::string reasons;
  std::string errors;
  for (const auto& [code, times] : errorsByCode_) {
    errors += (errors.empty() ? "" : ", ") + std::to_string(code) + " " +
              std::string(StatusNames::errorName(code)) + ": " + std::to_string(times);
    if (const auto type = errorTypeFromRawValue(code)) {
      if (const auto reason = suppressionReason(*type)) {
        suppressed += times;
        reasons +=
            (reasons.empty() ? ": " : ", ") + std::string(*reason) + " " + std::to_string(times);
      }
    }
  }
  result.push_back(row("suppressed", std::to_string(suppressed) + reasons));
  result.push_back(row("errors by code", errors.empty() ? "none" : errors));
  std::string events;
  if (server) {
    std::size_t accepted = 0;
    std::string byType;
    for (const auto& [type, times] : server->acceptedByType) {
      accepted += times;
      byType += (byType.empty() ? "" : ", ") + type + " " + std::to_string(times);
    }
    events = std::to_string(accepted) + " accepted by the server" +
             (byType.empty() ? "" : " (" + byType + ")") + ", " + std::to_string(server->rejected) +
             " rejected, ";
  }
  result.push_back(row("events", events + std::to_string(sendFailures_) + " failed to send"));
  result.push_back(row(
      "log", std::to_string(warnings_) + " warnings, " + std::to_string(errorLines_) + " errors"));
  return result;
}

}  // namespace lumora::tools
