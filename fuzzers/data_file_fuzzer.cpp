// Any bytes as data file: what the module reads, to the bit, against a plain reading of the format.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_check.h"
#include "model/engine_model.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::fuzz {

namespace {

using audio::compensation::CompensationData;

// NaNs included.
bool HasSameBits(const std::vector<float>& left, const std::vector<float>& right) {
  return left.size() == right.size() &&
         (left.empty() || std::memcmp(left.data(), right.data(), left.size() * sizeof(float)) == 0);
}

void Check(const std::string& content) {
  constexpr const char* kName = "response.txt";
  static const Folder folder;
  folder.Write(kName, content);

  const tools::ModelResponse expected = tools::ReadModelResponse(content);
  CompensationData data;
  const Log log;
  const bool is_read = data.ParseQuantityFromFile(kName);
  FUZZ_CHECK(is_read == expected.fault.empty());
  FUZZ_CHECK(HasSameBits(data.raw_data, expected.values));
  FUZZ_CHECK_EQ(data.file_name, is_read ? kName : "");
  if (is_read) {
    FUZZ_CHECK(log.lines().empty());
  } else {
    FUZZ_CHECK(log.lines().size() == 1);
    // The logger ends a line at a null character.
    const std::string line = "ParseQuantityFromFile" + expected.fault;
    FUZZ_CHECK_EQ(log.lines()[0], line.substr(0, line.find('\0')));
  }

  // What a faulty file left is replaced; a second file is read behind the first.
  CompensationData again = data;
  const bool is_read_again = again.ParseQuantityFromFile(kName);
  FUZZ_CHECK(is_read_again == is_read);
  FUZZ_CHECK(again.raw_data.size() == 2 * expected.values.size());
  again.SetRawData(expected.values);
  FUZZ_CHECK(HasSameBits(again.raw_data, expected.values));
}

}  // namespace

}  // namespace brelmo::tavi::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brelmo::tavi::fuzz::Check({reinterpret_cast<const char*>(data), size});
  return 0;
}
