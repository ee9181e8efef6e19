#include "platform/sim/RecordingSystemLog.hpp"

#include <algorithm>

namespace lumora::platform {

// The observer runs outside the lock, so it may itself log.
void RecordingSystemLog::write(const LogRecord& record) {
  Observer observer;
  {
    std::lock_guard lock(mutex_);
    records_.push_back(record);
    observer = observer_;
  }
  if (observer) observer(record);
}

std::optional<std::string> RecordingSystemLog::requestedLevel() const {
  std::lock_guard lock(mutex_);
  return requestedLevel_;
}

void RecordingSystemLog::setRequestedLevel(std::optional<std::string> level) {
  std::lock_guard lock(mutex_);
  requestedLevel_ = std::move(level);
}

void RecordingSystemLog::setObserver(Observer observer) {
  std::lock_guard lock(mutex_);
  observer_ = std::move(observer);
}

std::vector<LogRecord> RecordingSystemLog::records() const {
  std::lock_guard lock(mutex_);
  return records_;
}

std::vector<std::string> RecordingSystemLog::messages() const {
  std::lock_guard lock(mutex_);
  std::vector<std::string> messages;
  messages.reserve(records_.size());
  for (const auto& record : records_) messages.push_back(record.message);
  return messages;
}

std::size_t RecordingSystemLog::count(const std::string& message) const {
  std::lock_guard lock(mutex_);
  return static_cast<std::size_t>(std::count_if(
      records_.begin(), records_.end(), [&](const LogRecord& r) { return r.message == message; }));
}

void RecordingSystemLog::clear() {
  std::lock_guard lock(mutex_);
  records_.clear();
}

}  // namespace lumora::platform
