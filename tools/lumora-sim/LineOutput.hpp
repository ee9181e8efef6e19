#pragma once

#include <functional>
#include <ostream>
#include <streambuf>
#include <string>

namespace lumora::tools {

/// An output stream that hands each complete line it is given, without the
/// newline, to a function: how lumora-sim turns what the embedded server
/// prints into notes on the run's timeline. Lines from different threads must
/// not interleave (the server writes whole lines under its own lock).
class LineOutput : public std::ostream {
 public:
  explicit LineOutput(std::function<void(std::string)> onLine);

 private:
  class Buffer : public std::streambuf {
   public:
    explicit Buffer(std::function<void(std::string)> onLine);

   protected:
    int_type overflow(int_type character) override;

   private:
    std::function<void(std::string)> onLine_;
    std::string line_;
  };

  Buffer buffer_;
};

}  // namespace lumora::tools
