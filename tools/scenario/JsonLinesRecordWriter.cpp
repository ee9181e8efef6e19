#include "scenario/JsonLinesRecordWriter.hpp"

#include "scenario/RecordJson.hpp"

namespace lumora::tools {

JsonLinesRecordWriter::JsonLinesRecordWriter(std::ostream& out) : out_(out) {}

void JsonLinesRecordWriter::write(const SimRecord& record) {
  const std::string line = RecordJson::encode(record).dump();
  const std::lock_guard lock(mutex_);
  out_ << line << std::endl;
}

}  // namespace lumora::tools
