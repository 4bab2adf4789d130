#include <cstdio>

#include <algorithm>
#include <sstream>
#include <utility>

#include "capture/message_text.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "scenario/run_reporter.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::HostEvent;

// Under the column where a step's own text begins.
constexpr const char* kIndent = "                     ";

class TextReporter : public RunReporter {
 public:
  TextReporter(bool colour, RunReporter::Put put) : RunReporter(std::move(put)), colour_(colour) {}

  void OnInit() override { Begin("control", "init", ""); }
  void OnDeinit() override { Begin("control", "deinit", ""); }

  void OnEvent(const HostEvent& event) override {
    std::string number;
    if (event.source == HostEvent::Source::kCommon) {
      number = "common event " + std::to_string(event.number);
    } else if (event.source == HostEvent::Source::kUsecase) {
      number = "use-case event " + std::to_string(event.number);
    }
    Begin(simulator::ThreadName(event.source), EventName(event), event.is_raw ? "" : number);
  }

  void OnFault(const std::string& step) override { Begin("", step, "fault"); }

  void OnSay(const std::string& text) override {
    Put(colour::kBold, "\n" + text);
    EndLine();
  }

  void OnHostCall(const std::string& call) override { Cause(colour::kDim, "host  ", call); }

  void OnLog(const simulator::LogLine& line) override {
    const char* colour = colour::kDim;
    if (line.severity == android::base::WARNING) colour = colour::kYellow;
    if (line.severity >= android::base::ERROR) colour = colour::kRed;
    std::ostringstream text;
    text << simulator::SeverityName(line.severity) << " [" << line.tag << "] "
         << Printable(line.text);
    Cause(colour, "log   ", text.str());
  }

  void OnWrite(const NamedWrite& named) override {
    const simulator::DspWrite& write = named.write;
    std::ostringstream text;
    text << "write of " << write.bytes.size() << " bytes, "
         << (write.is_accepted() ? "accepted" : "refused with " + std::to_string(write.result));
    for (size_t i = 0; i < named.cases.size(); ++i) {
      text << (i == 0 ? ": case " : " or ") << named.cases[i];
    }
    Cause(write.is_accepted() ? colour::kCyan : colour::kRed, "DSP   ", text.str());
    for (size_t i = 0; i < write.parsed.messages.size(); ++i) {
      const std::string files = DescribeFiles(named.files[i]);
      Cause(colour::kCyan, "        ",
            DescribeMessage(write.parsed.messages[i]) + (files.empty() ? "" : ", ") + files);
    }
  }

  void OnNoCase(const std::vector<size_t>& kept) override {
    std::string text = "no case fits: the DSP ";
    for (size_t i = 0; i < kept.size(); ++i) {
      text += (i == 0 ? "keeps case " : " or ") + std::to_string(kept[i]);
    }
    Cause(colour::kYellow, "", text + (kept.empty() ? "has had no corrections of a case" : ""));
  }

  void OnInitResult(int result, bool has_handle) override {
    Cause(result == 0 && has_handle ? colour::kPlain : colour::kYellow, "",
          "returned " + std::to_string(result) +
              (has_handle ? ", with a context" : ", without a context"));
  }

  void OnNotDelivered(const std::string& reason) override {
    Cause(colour::kYellow, "", "not delivered: " + reason);
  }

  void OnDump(const std::string& text) override {
    Begin("control", "dump", "");
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) Cause(colour::kPlain, "", Printable(line));
  }

  void OnViolation(const std::string& text) override { Cause(colour::kRed, "BROKEN  ", text); }

  void OnPrint(const std::string& line) override {
    Cause(colour::kYellow, "print ", Printable(line));
  }

  void OnEnd(const RunTotals& totals) override {
    std::ostringstream text;
    text << "\n"
         << Count(totals.events, "event") << ", " << Count(totals.writes, "write") << " to the DSP";
    if (totals.refused_writes > 0) text << " (" << totals.refused_writes << " refused)";
    text << ", " << Count(totals.expectations, "expectation") << ": ";
    Put(colour::kPlain, text.str());
    if (totals.failures == 0) {
      Put(colour::kGreen, "all as expected");
    } else {
      Put(colour::kRed, Count(totals.failures, "failure"));
    }
    EndLine();
  }

 private:
  void Begin(const std::string& thread, const std::string& what, const std::string& note) {
    char head[64];
    std::snprintf(head, sizeof(head), "%8.3f s  %-8s  ", seconds(), thread.c_str());
    Put(colour::kDim, head);
    Put(colour::kBold, what);
    if (!note.empty()) Put(colour::kDim, "  (" + note + ")");
    EndLine();
  }

  void Cause(const char* colour, const std::string& label, const std::string& text) {
    Put(colour, kIndent + label + text);
    EndLine();
  }

  void Put(const char* colour, const std::string& text) {
    const bool is_coloured = colour_ && *colour != '\0';
    // Steps and what is said of them hold whatever bytes a scenario holds.
    const std::string shown = PrintableLines(text);
    line_ += is_coloured ? colour + shown + colour::kEnd : shown;
  }
  void EndLine() { PutText(std::exchange(line_, {}) + "\n"); }

  const bool colour_;
  std::string line_;
};

}  // namespace

std::string EventName(const HostEvent& event) {
  const std::string value = event.value ? std::to_string(*event.value) : "null";
  const std::string number = std::to_string(event.number);
  if (event.source == HostEvent::Source::kHingeAngle) {
    return (event.is_raw ? "raw hinge " : "hinge ") + value;
  }
  if (event.source == HostEvent::Source::kCommon) {
    if (event.is_raw) return "raw common " + number + " " + value;
    if (event.number == simulator::kScreenRotated) return "rotation " + value;
    return (event.number == simulator::kValueAnnounced ? "announce " : "withdraw ") + value;
  }
  if (event.is_raw) return "raw usecase " + number + " " + value;
  return (event.number == simulator::kUsecaseStarted ? "start " : "stop ") + value;
}

std::unique_ptr<RunReporter> MakeTextReporter(bool colour, RunReporter::Put put) {
  return std::make_unique<TextReporter>(colour, std::move(put));
}

}  // namespace brelmo::tavi::tools
