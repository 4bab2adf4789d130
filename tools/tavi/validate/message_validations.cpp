// What exactly is sent of a case.
#include <array>
#include <cstring>
#include <sstream>

#include "console/wording.h"
#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

// A response of this many bins, as a data file and as the DSP's message of this type.
struct Sample {
  Sample(float first, size_t bins, unsigned char type) {
    constexpr size_t kHeader = 8;
    const size_t size = bins * 8;
    message.resize(kHeader + size);
    message[0] = type;
    for (size_t i = 0; i < 4; ++i) {
      message[4 + i] = static_cast<unsigned char>(size >> (8 * i));
    }
    std::ostringstream text;
    for (size_t i = 0; i < bins; ++i) {
      const std::array<float, 2> bin = {first + static_cast<float>(i) / 4,
                                        -static_cast<float>(i) / 8};
      text << bin[0] << "," << bin[1] << "\n";
      std::memcpy(message.data() + kHeader + sizeof(bin) * i, bin.data(), sizeof(bin));
    }
    file = text.str();
  }
  std::string file;
  std::vector<unsigned char> message;
};

// The bytes of the one write that the event makes; `bytes` is what the module says of it.
std::vector<unsigned char> BytesAfter(Trial& trial, const std::string& event, size_t bytes) {
  trial.recorder().TakeWrites();
  const Lines lines = trial.After(event);
  const auto writes = trial.recorder().TakeWrites();
  if (writes.size() != 1) {
    trial.Abandon("\"" + event + "\" made " + Count(writes.size(), "write") + ", not 1");
  }
  trial.Expect(lines.back() == EngineLog(INFO, "UpdateTuningData: update tuning with size " +
                                                   std::to_string(bytes)),
               "after \"" + event + "\" the last line is: " + Printable(lines.back()));
  return writes[0].bytes;
}

void CheckBytes(Trial& trial) {
  const Sample left(1, 257, 16);
  const Sample right(-2, 257, 17);
  trial.WriteFile("left.txt", left.file);
  trial.WriteFile("right.txt", right.file);
  trial.Start("HingeAngle:0,90|RightChannel:right.txt|LeftChannel:left.txt");
  trial.After("announce 5");
  trial.After("start 6");
  const auto bytes = BytesAfter(trial, "hinge 30", 4128);
  auto left_first = left.message;
  left_first.insert(left_first.end(), right.message.begin(), right.message.end());
  auto right_first = right.message;
  right_first.insert(right_first.end(), left.message.begin(), left.message.end());
  trial.Expect(bytes == left_first || bytes == right_first,
               "the write is not the left channel's message (type 16) and the right one's (type "
               "17), of 2064 bytes each, in either order");
}

void CheckEmptyChannels(Trial& trial) {
  const Sample left(3, 2, 16);
  const Sample right(4, 1, 17);
  trial.WriteFile("left.txt", left.file);
  trial.WriteFile("right.txt", right.file);
  trial.WriteFile("empty.txt", "");
  trial.WriteFile("feeds.txt", "\n\n");
  trial.Start(
      "HingeAngle:0,60|LeftChannel:feeds.txt|RightChannel:right.txt "
      "HingeAngle:61,120|LeftChannel:left.txt|RightChannel:empty.txt "
      "HingeAngle:121,180|LeftChannel:empty.txt|RightChannel:feeds.txt");
  trial.After("announce 5");
  trial.After("start 6");
  trial.Expect(BytesAfter(trial, "hinge 30", 16) == right.message,
               "of a case without left data the write is not the right channel's message alone");
  trial.Expect(BytesAfter(trial, "hinge 90", 24) == left.message,
               "of a case without right data the write is not the left channel's message alone");
  const std::string from = "Case Keys : {Name : HingeAngle, Supported Index: {1 } } -> ";
  const std::string to = "Case Keys : {Name : HingeAngle, Supported Index: {2 } }";
  trial.ExpectAfter("hinge 150",
                    {EngineLog(INFO, "UpdateTuningData: update case keys: previous" + from + to),
                     EngineLog(WARNING, "UpdateTuningData: no valid data")});
  // It was taken all the same.
  trial.ExpectPart("the dump", "  Previous Case Keys:" + to + "\n", trial.Dump());
  trial.ExpectAfter("hinge 151", {});
}

void CheckLargeMessage(Trial& trial) {
  constexpr size_t kBins = 300000;  // a file of some megabytes
  std::string content;
  for (size_t i = 0; i < kBins; ++i) content += std::to_string(i % 1000) + ",-1\n";
  trial.WriteFile("large.txt", content);
  trial.Start("HingeAngle:0,90|LeftChannel:large.txt|RightChannel:r.txt");
  trial.After("announce 5");
  trial.After("start 6");
  BytesAfter(trial, "hinge 30", kBins * 8 + 8 + 16);
  const auto left = trial.host().dsp().state().left;
  bool is_equal = left && left->size() == 2 * kBins;
  for (size_t i = 0; is_equal && i < kBins; ++i) {
    is_equal = (*left)[2 * i] == static_cast<float>(i % 1000) && (*left)[2 * i + 1] == -1.0F;
  }
  trial.Expect(is_equal, "the left response is not that of the file");
}

}  // namespace

void AddMessageValidations(Validations& validations) {
  validations.push_back({"message.bytes",
                         "A case is one write of two messages: type, size and the file's numbers.",
                         CheckBytes});
  validations.push_back(
      {"message.empty-channel",
       "A channel without data is left out; a case without any sends nothing, and "
       "says so.",
       CheckEmptyChannels});
  validations.push_back(
      {"message.large", "A response of any size is one message.", CheckLargeMessage});
}

}  // namespace brelmo::tavi::tools
