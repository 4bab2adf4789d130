#include "field_device.h"

#include <algorithm>
#include <sstream>

#include "console/wording.h"
#include "data_folder.h"
#include "scenario/scenario.h"

namespace brelmo::tavi::test {

namespace {

using tools::Format;

class FieldDevice : private simulator::HostObserver {
 public:
  explicit FieldDevice(const std::string& config)
      : config_(config),
        module_(TAVI_MODULE_FILE),
        capture_([this](const simulator::LogLine& line) { OnLog(line); }),
        host_(module_, *this) {
    recording_.pcapng = tools::CaptureHead(tools::CaptureFormat::kPcapng);
  }

  Recording Play(const std::string& steps) {
    std::istringstream input((steps.find("init\n") == std::string::npos ? "init\n" : "") + steps);
    for (const tools::Step& step : tools::ParseScenario(input)) {
      us_ = (us_ / 1000 + 2000) * 1000;
      if (std::holds_alternative<tools::InitStep>(step.action)) host_.Init(config_.c_str());
      if (std::holds_alternative<tools::DeinitStep>(step.action)) host_.Deinit();
      if (std::holds_alternative<tools::DumpStep>(step.action)) recording_.dump = *host_.Dump();
      if (const auto* const wait = std::get_if<tools::WaitStep>(&step.action)) {
        us_ += wait->time.count() - 2000000;
      }
      if (const auto* const event = std::get_if<tools::EventStep>(&step.action)) {
        thread_ = 2000 + static_cast<int>(event->event.source);
        host_.Deliver(event->event);
      }
      if (const auto* const dsp = std::get_if<tools::DspStep>(&step.action)) {
        if (dsp->what == tools::DspStep::What::kRefuse) {
          host_.dsp().RefuseNext(dsp->count, dsp->code);
        } else {
          host_.SetTuningEntry(dsp->what == tools::DspStep::What::kPresent);
        }
      }
      if (const auto* const refuse = std::get_if<tools::RefuseStep>(&step.action)) {
        if (refuse->what == tools::RefuseStep::What::kSensor) host_.RefuseHingeAngle(refuse->code);
        if (refuse->what == tools::RefuseStep::What::kMemory) host_.RefuseMemory();
      }
    }
    if (recording_.dump.empty()) recording_.dump = *host_.Dump();
    return recording_;
  }

 private:
  void OnLog(const simulator::LogLine& line) {
    us_ += 70;
    recording_.log.push_back(
        {us_, thread_, simulator::SeverityName(line.severity)[0], line.tag, line.text});
  }
  void OnWrite(const simulator::DspWrite& write) override {
    const std::chrono::microseconds now(us_);
    recording_.bytes += tools::CaptureBytes(write, tools::CaptureFormat::kBytes, now);
    recording_.pcapng += tools::CaptureBytes(write, tools::CaptureFormat::kPcapng, now);
  }

  const std::string config_;
  int64_t us_ = 0;
  int thread_ = 1041;
  Recording recording_;
  const simulator::LoadedModule module_;
  simulator::LogCapture capture_;
  simulator::SimulatedHost host_;
};

// Over midnight, that a date is part of the time.
std::string Clock(int64_t us, int digits) {
  const int64_t second = us / 1000000 + 86370;
  const int64_t fraction = digits == 3 ? us / 1000 % 1000 : us % 1000000;
  return Format("11-%02d %02d:%02d:%02d.%0*d", static_cast<int>(21 + second / 86400),
                static_cast<int>(second / 3600 % 24), static_cast<int>(second / 60 % 60),
                static_cast<int>(second % 60), digits, static_cast<int>(fraction));
}

}  // namespace

const std::vector<std::string>& LogFormats() {
  static const std::vector<std::string> formats = {
      "brief", "process", "tag",  "thread", "raw",   "time",      "threadtime", "long",
      "year",  "zone",    "usec", "uid",    "epoch", "monotonic", "color"};
  return formats;
}

std::string Render(const std::vector<DeviceLine>& lines, const std::string& format) {
  std::string log;
  if (format != "raw") log = "--------- beginning of main\n";
  for (const DeviceLine& line : lines) {
    const int process =
        line.tag.rfind("audio_hw", 0) == 0 || line.tag.rfind("AHal", 0) == 0 ? line.process : 777;
    const std::string head = Format("%c/%-8s(%5d): ", line.severity, line.tag.c_str(), process);
    const std::string ids =
        Format("%5d %5d %c %-8s: ", process, line.thread, line.severity, line.tag.c_str());
    const std::string ms = Clock(line.us, 3);
    const std::string second = Format("%d.%03d", static_cast<int>(line.us / 1000000),
                                      static_cast<int>(line.us / 1000 % 1000));
    std::string text;
    if (format == "brief") text = head + line.text;
    if (format == "process") {
      text = Format("%c(%5d) ", line.severity, process) + line.text + "  (" + line.tag + ")";
    }
    if (format == "tag") text = Format("%c/%-8s: ", line.severity, line.tag.c_str()) + line.text;
    if (format == "thread") {
      text = Format("%c(%5d:%5d) ", line.severity, process, line.thread) + line.text;
    }
    if (format == "raw") text = line.text;
    if (format == "time") text = ms + " " + head + line.text;
    if (format == "threadtime") text = ms + " " + ids + line.text;
    if (format == "long") {
      text = "[ " + ms +
             Format(" %5d:%5d %c/%s ]\n", process, line.thread, line.severity, line.tag.c_str()) +
             line.text + "\n";
    }
    if (format == "year") text = "2026-" + ms + " " + ids + line.text;
    if (format == "zone") text = "2026-" + ms + " +0100 " + ids + line.text;
    if (format == "usec") text = Clock(line.us, 6) + " " + ids + line.text;
    if (format == "uid") text = ms + " audioserver " + ids + line.text;
    if (format == "epoch")
      text = "1795301970." + second.substr(second.find('.') + 1) + " " + ids + line.text;
    if (format == "monotonic") text = "    " + second + " " + ids + line.text;
    if (format == "color") text = "\x1b[38;5;40m" + ms + " " + ids + line.text + "\x1b[0m";
    log += text + (format == "tag" ? "\r\n" : "\n");
  }
  return log;
}

std::vector<DeviceLine> WithOtherProcesses(const std::vector<DeviceLine>& lines,
                                           std::mt19937& random) {
  static const std::vector<std::pair<std::string, std::string>> others = {
      {"audio_hw_primary", "out_write: UpdateTuningDate: update case keys: "},
      {"AudioFlinger", "compensation of latency 12 ms; TelephonySpeakerCompensation : is on"},
      {"ActivityManager", "Start proc 4711:com.example.compensation/u0a12"},
      {"HingeSensor", "HingeAngle {90}, Supported Index: none"},
      {"chatty", "uid=1000(system) Binder:1 expire 4 lines"},
      {"DEBUG", ""}};
  std::vector<DeviceLine> mixed;
  for (const DeviceLine& line : lines) {
    for (size_t i = random() % 4; i > 0; --i) {
      const auto& [tag, text] = others[random() % others.size()];
      mixed.push_back({line.us, 999, 'D', tag, text});
    }
    mixed.push_back(line);
  }
  return mixed;
}

std::vector<DeviceLine> Reordered(std::vector<DeviceLine> lines, std::mt19937& random) {
  for (size_t begin = 0; begin < lines.size();) {
    size_t end = begin + 1;
    while (end < lines.size() && lines[end].us - lines[begin].us < 1000) ++end;
    std::shuffle(lines.begin() + static_cast<ptrdiff_t>(begin),
                 lines.begin() + static_cast<ptrdiff_t>(end), random);
    begin = end;
  }
  return lines;
}

std::vector<DeviceLine> Thinned(const std::vector<DeviceLine>& lines, std::mt19937& random) {
  std::vector<DeviceLine> kept;
  for (const DeviceLine& line : lines) {
    if (line.severity != 'I' || random() % 12 != 0) kept.push_back(line);
  }
  return kept;
}

Recording Play(const std::string& config, const std::string& data_root, const std::string& steps) {
  const simulator::DataFolder folder(data_root);
  return FieldDevice(config).Play(steps);
}

}  // namespace brelmo::tavi::test
