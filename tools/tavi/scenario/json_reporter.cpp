#include <cmath>

#include <utility>

#include <nlohmann/json.hpp>

#include "console/json_text.h"
#include "scenario/run_reporter.h"

namespace brelmo::tavi::tools {

namespace {

using Json = nlohmann::ordered_json;
using simulator::HostEvent;

class JsonReporter : public RunReporter {
 public:
  using RunReporter::RunReporter;

  void OnInit() override {}
  void OnDeinit() override { PutEvent("control", "deinit", nullptr); }

  void OnEvent(const HostEvent& event) override {
    const std::string name = EventName(event);
    Json value = nullptr;
    if (event.value) value = *event.value;
    PutEvent(simulator::ThreadName(event.source), name.substr(0, name.rfind(' ')), value);
  }

  void OnFault(const std::string& step) override { PutEvent("device", step, nullptr); }
  void OnSay(const std::string& /*text*/) override {}
  void OnHostCall(const std::string& /*call*/) override {}

  void OnLog(const simulator::LogLine& line) override {
    Put({{"kind", "log"},
         {"severity", simulator::SeverityName(line.severity)},
         {"tag", line.tag},
         {"text", line.text}});
  }

  void OnWrite(const NamedWrite& named) override {
    Json messages = Json::array();
    for (size_t i = 0; i < named.write.parsed.messages.size(); ++i) {
      const simulator::DspMessage& message = named.write.parsed.messages[i];
      Json item = {{"type", message.type}, {"payload_bytes", message.payload.size()}};
      if (message.is_response()) item["files"] = named.files[i];
      messages.push_back(item);
    }
    Json write = {{"kind", "write"},
                  {"bytes", named.write.bytes.size()},
                  {"result", named.write.result},
                  {"messages", messages}};
    if (named.write.has_response()) write["cases"] = named.cases;
    Put(write);
  }

  void OnNoCase(const std::vector<size_t>& kept) override {
    Put({{"kind", "no-case"}, {"kept", kept}});
  }

  void OnInitResult(int result, bool has_handle) override {
    Put({{"kind", "init"}, {"result", result}, {"handle", has_handle}});
  }

  void OnNotDelivered(const std::string& reason) override {
    Put({{"kind", "not-delivered"}, {"text", reason}});
  }

  void OnDump(const std::string& text) override { Put({{"kind", "dump"}, {"text", text}}); }
  void OnViolation(const std::string& text) override {
    Put({{"kind", "violation"}, {"text", text}});
  }
  void OnPrint(const std::string& line) override { Put({{"kind", "print"}, {"text", line}}); }
  void OnEnd(const RunTotals& /*totals*/) override {}

 private:
  void PutEvent(const std::string& thread, const std::string& event, const Json& value) {
    Put({{"kind", "event"}, {"thread", thread}, {"event", event}, {"value", value}});
  }

  void Put(Json object) {
    object["time"] = std::round(seconds() * 1e6) / 1e6;
    // Log texts hold whatever bytes the configuration holds.
    PutText(JsonText(object) + "\n");
  }
};

}  // namespace

std::unique_ptr<RunReporter> MakeJsonReporter(RunReporter::Put put) {
  return std::make_unique<JsonReporter>(std::move(put));
}

}  // namespace brelmo::tavi::tools
