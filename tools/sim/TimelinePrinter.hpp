#pragma once

#include <mutex>
#include <ostream>
#include <string>

#include "sim/RecordSink.hpp"

namespace lumora::tools {

/// Prints each record as one aligned, human-readable line:
///     12.000s  callback      onCreativeReceived creativeId=345 bindingId=1234 ...
///     13.000s  notification  identifier=... title="..." body="..." delay=1 ...
///     13.002s  log           2023-11-14 22:13:33 [INFO] [NotificationManager:88 ...] - ...
class TimelinePrinter : public RecordSink {
 public:
  /// The stream must outlive the printer.
  explicit TimelinePrinter(std::ostream& out);

  void write(const SimRecord& record) override;

  /// The line for one record, without the newline.
  static std::string line(const SimRecord& record);

 private:
  std::mutex mutex_;
  std::ostream& out_;
};

}  // namespace lumora::tools
