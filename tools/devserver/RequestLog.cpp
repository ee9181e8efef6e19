#include "devserver/RequestLog.hpp"

#include "devserver/EscapedText.hpp"

namespace lumora::tools {
namespace {

std::string shown(std::string_view text) { return text.empty() ? "-" : EscapedText::of(text); }

}  // namespace

RequestLog::RequestLog(std::ostream* console) : console_(console) {}

void RequestLog::answered(const void* request, std::string_view method, std::string_view path,
                          int status, std::size_t bytes, std::string_view note) {
  const std::lock_guard lock(mutex_);
  answered_.insert(request);
  print(line(method, path, status, bytes, note));
}

void RequestLog::served(const void* request, std::string_view method, std::string_view path,
                        int status, std::size_t bytes) {
  const std::lock_guard lock(mutex_);
  if (answered_.erase(request) == 0) print(line(method, path, status, bytes, {}));
}

void RequestLog::print(const std::string& text) {
  if (console_ != nullptr) *console_ << text << std::endl;
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
