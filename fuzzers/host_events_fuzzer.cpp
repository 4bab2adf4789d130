// Any bytes as what a host does with the module: a configuration first, then events, dumps, faults,
// deinit and init. Every write is held against a model of what must be sent. The module is linked
// in, its entry points included.
//
// With TAVI_FUZZ_SHOW in the environment, what the bytes of the first input mean is printed as a
// scenario for `tavi run` as it happens.
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <fuzzer/FuzzedDataProvider.h>

#include "direct_host.h"
#include "fuzz_check.h"
#include "model/engine_model.h"
#include "sensor_info_wrapper.h"
#include "telephony_speaker_compensation.h"
#include "telephony_speaker_compensation_api.h"

namespace brelmo::tavi::fuzz {

namespace {

using simulator::DirectHost;
using simulator::HostEvent;
using tools::EngineModel;

// ---- The bytes ----------------------------------------------------------------------------------

// 0 when there are no more.
class Bytes : public FuzzedDataProvider {
 public:
  using FuzzedDataProvider::FuzzedDataProvider;

  bool empty() { return remaining_bytes() == 0; }
  uint8_t Next() { return ConsumeIntegral<uint8_t>(); }
  template <typename T, size_t kSize>
  T Pick(const T (&choice)[kSize]) {
    return PickValueInArray(choice);
  }
};

struct DataFile {
  const char* name;
  const char* content;  // null: there is no such file
};
constexpr DataFile kFiles[] = {{"one.txt", "0.5,-0.25\n"},
                               {"two.txt", "1,2\n3,4\n"},
                               {"empty.txt", ""},
                               {"none.txt", nullptr}};

// A configuration of up to six cases, most of the time a good one. The conditions are always
// written in the same order.
std::string MakeConfig(Bytes& bytes) {
  const int case_count = 1 + bytes.Next() % 6;
  const uint8_t shape = bytes.Next();
  const int conditions = shape % 3;
  const bool is_any_range = shape >= 0xE0;  // the bounds in any order, and one beyond the end
  const bool is_cut = shape >= 0xF0;        // anywhere
  std::string text;
  for (int i = 0; i < case_count; ++i) {
    const uint8_t outputs = bytes.Next();
    if (conditions != 1) {
      int low = bytes.Next() % (is_any_range ? 182 : 181);
      int high = bytes.Next() % (is_any_range ? 182 : 181);
      if (low > high && !is_any_range) std::swap(low, high);
      text += "HingeAngle:" + std::to_string(low) + "," + std::to_string(high) + "|";
    }
    if (conditions != 0) {
      const int count = 1 + bytes.Next() % 4;
      const uint8_t rotations = bytes.Next();  // two bits each, so that any order and repetition is
      text += "ScreenRotation:";
      for (int j = 0; j < count; ++j) {
        text += std::to_string((rotations >> (2 * j)) % 4 * 90) + ",";
      }
      text.back() = '|';
    }
    text += std::string("LeftChannel:") + kFiles[outputs % 4].name;
    if (outputs < 0xF0) text += std::string("|RightChannel:") + kFiles[outputs / 4 % 4].name;
    text += ' ';
  }
  if (is_cut) text.resize(text.size() * bytes.Next() / 255);
  return text;
}

constexpr int32_t kCommonValues[] = {5, 6, 0, 4, 7, -1, INT32_MIN + 5, INT32_MAX};
constexpr int32_t kUsecases[] = {6, 23, 24, 0, -1};
constexpr int32_t kRotations[] = {0, 90, 180, 270, 45, 360, -90, INT32_MIN};
constexpr int kEventNumbers[] = {2, 4, 8, 21, 22};
constexpr int32_t kCodes[] = {-5, 1, INT32_MIN, INT32_MAX};

// ---- The host, with the model beside it ---------------------------------------------------------

std::optional<std::string> ReadFile(const std::string& name) {
  for (const DataFile& file : kFiles) {
    if (name == file.name && file.content != nullptr) return file.content;
  }
  return std::nullopt;
}

// What the host functions return during init.
struct Refusals {
  bool memory = false;
  int common_client = 0;
  int usecase_client = 0;
  int sensor = 0;
};

class Session {
 public:
  explicit Session(std::string config)
      : config_(std::move(config)), config_text_(tools::ReadModelConfig(config_)) {
    Show("# configuration: " + config_);
    Init({});
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  ~Session() { FreeLeftovers(); }

  // What the next bytes mean.
  void Step(Bytes& bytes);
  void End() {
    if (host_.handle() != nullptr) Deinit();
  }

 private:
  void Init(const Refusals& refusals);
  void Deinit();
  void Play(const HostEvent& event);
  void RawEvent(Bytes& bytes);
  bool CanDeliver(const HostEvent& event) const;
  void CheckDump();
  // What was written since the last call must be `expected`.
  void Expect(const EngineModel::Writes& expected);
  int Receive(const unsigned char* data, size_t size);
  int Answer(DirectHost::Call call) const;
  // What the module leaves allocated on purpose. Whatever else it leaves, the leak sanitizer finds.
  void FreeLeftovers();
  void Show(const std::string& line) const {
    if (is_shown_) std::cout << line << std::endl;
  }
  // libFuzzer may run an input again to look for leaks; once is enough.
  static bool IsToBeShown() {
    static const bool is_wanted = std::getenv("TAVI_FUZZ_SHOW") != nullptr;
    static bool is_first = true;
    return is_wanted && std::exchange(is_first, false);
  }
  // A scenario has no event of another kind, and the simulated host goes on calling the handlers of
  // an earlier init that succeeded.
  void ShowEvent(const std::string& line, bool is_plain) {
    Show(is_plain ? line : "# not delivered as in a scenario: " + line);
    is_expectation_shown_ = is_plain;
  }

  const bool is_shown_ = IsToBeShown();
  bool is_expectation_shown_ = true;
  const std::string config_;
  const tools::ModelConfig config_text_;
  DirectHost host_{HAL_PLATFORM_EXT_AUD_MODULE,
                   [this](const unsigned char* data, size_t size) { return Receive(data, size); },
                   [this](DirectHost::Call call) { return Answer(call); }};
  Refusals refusals_;
  std::unique_ptr<EngineModel> model_;  // of the last init
  std::vector<EngineModel::Bytes> writes_;
  bool has_tuning_entry_ = true;
  int dsp_refusals_ = 0;
  int dsp_code_ = 0;
};

// In the words of a scenario.
std::string StepText(const HostEvent& event) {
  const std::string payload = event.value ? " " + std::to_string(*event.value) : " null";
  if (event.source == HostEvent::Source::kHingeAngle) return "raw hinge" + payload;
  return (event.source == HostEvent::Source::kCommon ? "raw common " : "raw usecase ") +
         std::to_string(event.number) + payload;
}

bool Session::CanDeliver(const HostEvent& event) const {
  const simulator::Registration& to = host_.registration();
  switch (event.source) {
    case HostEvent::Source::kCommon:
      return to.common_handler != nullptr;
    case HostEvent::Source::kUsecase:
      return to.usecase_handler != nullptr;
    case HostEvent::Source::kHingeAngle:
      break;
  }
  return to.hinge_angle_callback != nullptr;
}

int Session::Receive(const unsigned char* data, size_t size) {
  writes_.emplace_back(data, data + size);
  if (dsp_refusals_ == 0) return 0;
  --dsp_refusals_;
  return dsp_code_;
}

int Session::Answer(DirectHost::Call call) const {
  switch (call) {
    case DirectHost::Call::kMemory:
      return refusals_.memory ? 1 : 0;
    case DirectHost::Call::kCommonClient:
      return refusals_.common_client;
    case DirectHost::Call::kUsecaseClient:
      return refusals_.usecase_client;
    case DirectHost::Call::kSensor:
      return refusals_.sensor;
    case DirectHost::Call::kSensorRelease:
      break;
  }
  return 0;
}

void Session::Expect(const EngineModel::Writes& expected) {
  const size_t count = has_tuning_entry_ ? expected.size() : 0;
  if (std::exchange(is_expectation_shown_, true)) Show("expect writes " + std::to_string(count));
  FUZZ_CHECK(writes_.size() == count);
  for (size_t i = 0; i < count; ++i) {
    FUZZ_CHECK(expected[i]->Matches(writes_[i].data(), writes_[i].size()));
  }
  writes_.clear();
  for (const std::string& violation : host_.TakeViolations()) Fail(__FILE__, __LINE__, violation);
}

void Session::Init(const Refusals& refusals) {
  FreeLeftovers();
  refusals_ = refusals;
  bool has_hinge = false;
  for (const auto& one : config_text_.cases) has_hinge |= one.conditions.count("HingeAngle") != 0;
  const bool is_sensor_refused = has_hinge && refusals.sensor != 0;
  // Without a case there is success, and no module.
  const bool has_case = !config_text_.cases.empty();
  int result = 0;
  if (refusals.memory) {
    result = -12;
    Show("refuse memory");
  } else if (has_case && (refusals.common_client != 0 || is_sensor_refused)) {
    result = -1;
  }
  const bool has_module = has_case && result == 0;
  const auto show_refusal = [this](const char* what, int code) {
    if (code != 0) Show(std::string("refuse ") + what + " " + std::to_string(code));
  };
  show_refusal("common-client", refusals.common_client);
  show_refusal("usecase-client", refusals.usecase_client);
  show_refusal("sensor", refusals.sensor);
  Show("init");
  Show("expect init " + std::to_string(result));
  FUZZ_CHECK(host_.Init(config_) == result);
  FUZZ_CHECK((host_.handle() != nullptr) == has_module);
  FUZZ_CHECK(host_.has_common_client() == has_module);
  FUZZ_CHECK(host_.has_usecase_client() == (has_module && refusals.usecase_client == 0));
  FUZZ_CHECK(host_.has_sensor() == (has_module && has_hinge));
  FUZZ_CHECK((host_.last_context().sensor_info != nullptr) ==
             (has_hinge && !refusals.memory && refusals.common_client == 0));
  model_ = std::make_unique<EngineModel>(config_text_, ReadFile);
  Expect({});
}

void Session::Deinit() {
  Show("deinit");
  const size_t contexts_held = host_.contexts_held();
  host_.Deinit();
  FUZZ_CHECK(!host_.has_common_client() && !host_.has_usecase_client() && !host_.has_sensor());
  FUZZ_CHECK(host_.contexts_held() == contexts_held - 1);  // failed inits leave theirs
  Expect({});
}

void Session::FreeLeftovers() {
  const DirectHost::Context context = host_.last_context();
  ::operator delete(context.events_listener);
  delete static_cast<audio::compensation::TelephonySpeakerCompensation*>(context.compensation);
  delete static_cast<audio::SensorInfoWrapper*>(context.sensor_info);
}

void Session::CheckDump() {
  Show("dump");
  const std::string dump = host_.Dump();
  if (host_.handle() == nullptr) {
    FUZZ_CHECK_EQ(dump, "\n");
    return;
  }
  const std::string head = model_->DumpHead();
  FUZZ_CHECK_EQ(dump.substr(0, head.size()), head);
  const auto has_case = [&dump](size_t number) {
    return dump.find("    Case Keys [" + std::to_string(number) + "]") != std::string::npos;
  };
  const size_t case_count = model_->cases().size();
  FUZZ_CHECK(!has_case(case_count) && (case_count == 0 || has_case(case_count - 1)));
  FUZZ_CHECK(dump.find("  Parameter Index:\n") != std::string::npos);
}

// Events that the module did not ask for, and those without payload or cookie.
void Session::RawEvent(Bytes& bytes) {
  const bool is_common = bytes.Next() % 2 == 0;
  // Every other time a number that means something.
  const uint8_t choice = bytes.Next();
  const int number = choice < 128 ? kEventNumbers[choice % std::size(kEventNumbers)] : choice - 192;
  const bool is_cookie_null = bytes.Next() % 2 == 0;
  const bool is_known =
      is_common ? number == 2 || number == 4 || number == 8 : number == 21 || number == 22;
  // With everything, a known event is no odd one.
  const auto value = is_known && !is_cookie_null ? std::nullopt : std::optional<int32_t>(5);
  const HostEvent event = {is_common ? HostEvent::Source::kCommon : HostEvent::Source::kUsecase,
                           number, value};
  ShowEvent(StepText(event) + (is_cookie_null ? "  with a null cookie" : ""),
            !is_cookie_null && CanDeliver(event));
  host_.Deliver(event, is_cookie_null);
  if (is_cookie_null) host_.Deliver(simulator::Hinge(90), true);
  Expect({});
}

// Delivered whether or not there has been a deinit since.
void Session::Play(const HostEvent& event) {
  ShowEvent(StepText(event), CanDeliver(event));
  Expect(host_.Deliver(event) ? model_->Apply(event) : EngineModel::Writes());
}

void Session::Step(Bytes& bytes) {
  switch (bytes.Next() % 16) {
    case 0:
    case 1:
      Play(simulator::Announce(bytes.Pick(kCommonValues)));
      break;
    case 2:
      Play(simulator::Withdraw(bytes.Pick(kCommonValues)));
      break;
    case 3:
    case 4:
      Play(simulator::StartUsecase(bytes.Pick(kUsecases)));
      break;
    case 5:
      Play(simulator::StopUsecase(bytes.Pick(kUsecases)));
      break;
    case 6:
    case 7:
      Play(simulator::Rotate(bytes.Pick(kRotations)));
      break;
    case 8:
    case 9:
    case 10:
      // Every angle, and some beyond either end.
      Play(simulator::Hinge(bytes.Next() - 40));
      break;
    case 11:
      RawEvent(bytes);
      break;
    case 12:
      dsp_refusals_ = bytes.Next() % 4;
      dsp_code_ = bytes.Pick(kCodes);
      Show("dsp refuse " + std::to_string(dsp_refusals_) + " " + std::to_string(dsp_code_));
      break;
    case 13:
      has_tuning_entry_ = !has_tuning_entry_;
      host_.SetTuningEntry(has_tuning_entry_);
      Show(has_tuning_entry_ ? "dsp present" : "dsp absent");
      break;
    case 14:
      CheckDump();
      break;
    default:
      if (host_.handle() != nullptr) {
        Deinit();
      } else {
        const uint8_t refused = bytes.Next();
        const int32_t code = bytes.Pick(kCodes);
        Refusals refusals;
        refusals.memory = refused % 16 == 1;
        if (refused % 16 == 2) refusals.common_client = code;
        if (refused % 8 == 3) refusals.usecase_client = code;
        if (refused % 16 == 4 || refused % 16 == 11) refusals.sensor = code;
        Init(refusals);
      }
      break;
  }
}

void Check(Bytes bytes) {
  static const Folder folder;
  static const bool is_written = [] {
    for (const DataFile& file : kFiles) {
      if (file.content != nullptr) folder.Write(file.name, file.content);
    }
    return true;
  }();
  static_cast<void>(is_written);
  const Log log;
  Session session(MakeConfig(bytes));
  while (!bytes.empty()) session.Step(bytes);
  session.End();
}

}  // namespace

}  // namespace brelmo::tavi::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  brelmo::tavi::fuzz::Check({data, size});
  return 0;
}
