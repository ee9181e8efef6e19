#pragma once

#include <string>
#include <string_view>

namespace lumora::tools {

/// Bytes from a client made safe for a log line or a JSON string without
/// losing any: valid UTF-8 passes unchanged, except that a backslash becomes
/// "\\" and every byte of a control character (C0, DEL, C1) or of an invalid
/// UTF-8 sequence becomes "\xNN". The result is always valid UTF-8 on one line.
class EscapedText {
 public:
  static std::string of(std::string_view bytes);

  /// True when bytes are well-formed UTF-8 (no overlong forms, surrogates or
  /// code points past U+10FFFF).
  static bool isValidUtf8(std::string_view bytes);
};

}  // namespace lumora::tools
