#include "devserver/RequestLog.hpp"

#include <utility>

#include "devserver/EscapedText.hpp"

namespace lumora::tools {
namespace {

std::string shown(std::string_view text) { return text.empty() ? "-" : EscapedText::of(text); }

}  // namespace

RequestLog::RequestLog(std::ostream* console) : console_(console) {}

void RequestLog::note(const void* request, std::string text) {
  const std::lock_guard lock(mutex_);
  notes_[request] = std::move(text);
}

void RequestLog::served(const void* request, std::string_view method, std::string_view path,
                        int status, std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  const auto found = notes_.find(request);
  std::string note;
  if (found != notes_.end()) {
    note = std::move(found->second);
    notes_.erase(found);
  }
  if (console_ != nullptr) {
    *console_ << line(method, path, status, bytes, note) << std::endl;
  }
}

std::string RequestLog::line(std::string_view method, std::string_view path, int status,
                             std::size_t bytes, std::string_view note) {
  std::string text = shown(method) + " " + shown(path) + " -> " + std::to_string(status) + " (" +
                     std::to_string(bytes) + " bytes)";
  if (!note.empty()) {
    text += "  ";
    text += note;
  }
  return text;
}

}  // namespace lumora::tools
