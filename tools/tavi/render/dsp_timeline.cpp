#include "render/dsp_timeline.h"

#include <sys/mman.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include <algorithm>
#include <map>
#include <sstream>
#include <utility>

#include <nlohmann/json.hpp>

#include "console/wording.h"
#include "dsp_message.h"
#include "process/machine_error.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::json;
using simulator::DspMessage;

class Filters {
 public:
  FilterPointer Get(const DspMessage& message, const std::vector<std::string>& files) {
    const std::string payload(message.payload.begin(), message.payload.end());
    FilterPointer& filter = filters_[{message.type, payload}];
    if (!filter) {
      std::string name = Enumerate(files);
      if (files.empty()) name = "a response of no file";
      if (name.empty()) name = "flat, for want of a usable file";
      filter = std::make_shared<NamedFilter>(
          NamedFilter{MakeBlockFilter(BinsOfData(message.Response())), std::move(name)});
    }
    return filter;
  }

 private:
  std::map<std::pair<int32_t, std::string>, FilterPointer> filters_;
};

DspChange ReadWrite(const Json& write, const simulator::DspMessages& parsed, Filters& filters) {
  DspChange change;
  change.refusal = write["result"];
  if (const auto cases = write.find("cases"); cases != write.end()) {
    change.cases = cases->get<std::vector<size_t>>();
  }
  for (size_t i = 0; i < parsed.messages.size(); ++i) {
    const DspMessage& message = parsed.messages[i];
    if (!message.is_response()) {
      change.active = message.is_active();
      continue;
    }
    const bool is_left = message.type == simulator::kLeftMessage;
    if (std::string fault = FindUnplayable(message.Response()); !fault.empty()) {
      change.fault += std::string(change.fault.empty() ? "" : ", ") +
                      (is_left ? "the left" : "the right") + " response " + fault;
      continue;
    }
    const auto files = write["messages"][i]["files"].get<std::vector<std::string>>();
    (is_left ? change.left : change.right) = filters.Get(message, files);
  }
  if (parsed.damage) change.fault = "damaged: " + parsed.damage->reason;
  return change;
}

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string ReadAll(std::FILE* file) {
  std::string bytes;
  std::rewind(file);
  char block[4096];
  for (size_t count = 0; (count = std::fread(block, 1, sizeof(block), file)) > 0;) {
    bytes.append(block, count);
  }
  return bytes;
}

}  // namespace

std::string FindUnplayable(const std::vector<float>& raw_data) {
  if (raw_data.size() != 2 * kBinCount) {
    return "has " + Count(raw_data.size() / 2, "bin") + ", and the DSP here takes 257";
  }
  const bool is_finite = std::all_of(raw_data.begin(), raw_data.end(),
                                     [](float value) { return std::isfinite(value); });
  return is_finite ? "" : "holds what is no number";
}

DspTimeline ReadTimeline(const std::string& lines, const std::string& capture) {
  DspTimeline timeline;
  Filters filters;
  std::istringstream input(lines);
  std::string event = "init";
  size_t at = 0;
  for (std::string line; std::getline(input, line);) {
    const Json object = Json::parse(line);
    const std::string kind = object["kind"];
    const double seconds = object["time"];
    if (kind != "violation") timeline.seconds = seconds;
    if (kind == "event") {
      event = object["event"];
      if (object["value"].is_number()) event += " " + object["value"].dump();
    } else if (kind == "violation") {
      timeline.faults.push_back(object["text"]);
    } else if (kind == "write") {
      const size_t size = object["bytes"];
      const auto parsed = simulator::ParseDspMessages(
          reinterpret_cast<const unsigned char*>(capture.data()) + at, size);
      at += size;
      DspChange change = ReadWrite(object, parsed, filters);
      change.seconds = seconds;
      change.event = event;
      timeline.changes.push_back(std::move(change));
    }
  }
  return timeline;
}

DspTimeline PlayTimeline(PlaySetup setup) {
  const int fd = memfd_create("writes", MFD_CLOEXEC);
  const std::unique_ptr<std::FILE, CloseFile> capture(fd < 0 ? nullptr : fdopen(fd, "w+b"));
  if (!capture) throw MachineError("a file in memory cannot be made", errno);
  std::string lines;
  setup.is_json = true;
  setup.is_time_virtual = true;
  setup.capture = capture.get();
  setup.put = [&lines](const std::string& text) { lines += text; };
  if (!PlayScenario(setup).is_capture_complete) {
    throw MachineError("what the DSP got could not be kept", ENOMEM);
  }
  return ReadTimeline(lines, ReadAll(capture.get()));
}

}  // namespace brelmo::tavi::tools
