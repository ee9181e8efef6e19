#include "lumora-sim/LineOutput.hpp"

#include <utility>

namespace lumora::tools {

LineOutput::LineOutput(std::function<void(std::string)> onLine)
    : std::ostream(nullptr), buffer_(std::move(onLine)) {
  rdbuf(&buffer_);
}

LineOutput::Buffer::Buffer(std::function<void(std::string)> onLine) : onLine_(std::move(onLine)) {}

LineOutput::Buffer::int_type LineOutput::Buffer::overflow(int_type character) {
  if (traits_type::eq_int_type(character, traits_type::eof()))
    return traits_type::not_eof(character);
  if (traits_type::to_char_type(character) == '\n') {
    onLine_(std::exchange(line_, {}));
  } else {
    line_ += traits_type::to_char_type(character);
  }
  return character;
}

}  // namespace lumora::tools
