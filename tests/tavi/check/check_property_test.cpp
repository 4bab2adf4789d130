// What a check says of random configurations, against what the loaded module does with them.
#include <algorithm>
#include <mutex>
#include <random>

#include <gtest/gtest.h>

#include "check/check_config.h"
#include "console/excerpt.h"
#include "console/wording.h"
#include "data_folder.h"
#include "log_capture.h"
#include "module_path.h"
#include "process/scratch_folder.h"
#include "simulated_host.h"

namespace brelmo::tavi::test {
namespace {

using simulator::HostEvent;
using tools::Posture;
using tools::PostureResult;

class Random {
 public:
  explicit Random(unsigned seed) : generator_(seed) {}

  int From(int low, int high) { return std::uniform_int_distribution<>(low, high)(generator_); }
  bool Chance(int percent) { return From(1, 100) <= percent; }
  template <typename T>
  const T& Of(const std::vector<T>& values) {
    return values[static_cast<size_t>(From(0, static_cast<int>(values.size()) - 1))];
  }

 private:
  std::mt19937 generator_;
};

// The same numbers in every run unless TAVI_SEED says otherwise.
unsigned Seed() {
  const char* const text = std::getenv("TAVI_SEED");
  const unsigned seed = text == nullptr ? 20250131U : static_cast<unsigned>(std::atoi(text));
  std::printf("TAVI_SEED=%u\n", seed);
  return seed;
}

constexpr int kMaxCases = 6;

std::string HingeRule(Random& random) {
  if (random.Chance(3)) {
    return random.Of<std::string>({"90,0", "0,181", "x,9", "7", "0,90 ", "1,2,3", ",", "-1,90"});
  }
  // Mostly of a few ends, so that ranges meet, touch and hold each other.
  const std::vector<int> ends = {0, 20, 45, 60, 90, 91, 120, 180};
  int low = random.Chance(70) ? random.Of(ends) : random.From(0, 180);
  int high = random.Chance(70) ? random.Of(ends) : random.From(0, 180);
  if (low > high) std::swap(low, high);
  if (low == high) return "0,180";
  return std::to_string(low) + "," + std::to_string(high);
}

std::string RotationRule(Random& random) {
  if (random.Chance(3)) return random.Of<std::string>({"45", "", ",", "0;90", "90\r"});
  std::string rule = std::to_string(90 * random.From(0, 3));
  while (random.Chance(50)) rule += "," + std::to_string(90 * random.From(0, 3));
  return rule;
}

std::string RandomConfig(Random& random) {
  const bool has_hinge = random.Chance(80);
  const bool has_rotation = !has_hinge || random.Chance(50);
  std::string config;
  const int cases = random.From(1, kMaxCases);
  for (int i = 0; i < cases; ++i) {
    const std::string number = std::to_string(i);
    std::vector<std::string> items = {"LeftChannel:" + number + "l.txt"};
    items.push_back("RightChannel:" + (random.Chance(90)
                                           ? number + "r.txt"
                                           : random.Of<std::string>({"absent", "empty.txt"})));
    const bool is_swapped = has_hinge != has_rotation && random.Chance(5);
    if (has_hinge != is_swapped && !random.Chance(2))
      items.push_back("HingeAngle:" + HingeRule(random));
    if (has_rotation != is_swapped && !random.Chance(2)) {
      items.push_back("ScreenRotation:" + RotationRule(random));
    }
    if (random.Chance(2)) items.push_back("Hinge:0,90");
    if (random.Chance(2))
      items.push_back(random.Of<std::string>({"bad", "a:b:c", ":", "rightchannel:x"}));
    std::shuffle(items.begin(), items.end(), std::mt19937(random.From(0, 1 << 30)));
    if (random.Chance(20)) items.push_back("LeftChannel:decoy.txt");
    if (random.Chance(10) && has_hinge) items.push_back("HingeAngle:1,2");
    for (const std::string& item : items) config += item + random.Of<std::string>({"|", "||"});
    config += random.Of<std::string>({" ", "  "});
  }
  return config;
}

class CheckPropertyTest : public testing::Test, private simulator::HostObserver {
 protected:
  CheckPropertyTest() {
    for (int i = 0; i < kMaxCases; ++i) {
      const std::string number = std::to_string(i);
      // The case's number is the first value, the channel the second.
      files_.Write(number + "l.txt", number + ",0\n1,0\n");
      files_.Write(number + "r.txt", number + ",1\n1,0\n1,0\n");
    }
    files_.Write("decoy.txt", "99,0\n1,0\n");
    files_.Write("empty.txt", "");
  }

  static const simulator::LoadedModule& Module() {
    static const simulator::LoadedModule module(ModulePath());
    return module;
  }

  // A device with this configuration.
  class Device {
   public:
    Device(CheckPropertyTest& test, const std::string& config)
        : test_(test), host_(Module(), test), has_handle_(host_.Init(config.c_str()).has_handle) {
      if (has_handle_) Deliver(HostEvent::Source::kCommon, simulator::kValueAnnounced, 5);
    }

    bool has_handle() const { return has_handle_; }

    // The case that is sent when the scenario becomes active in the posture.
    std::optional<size_t> Activate(const Posture& posture) {
      Deliver(HostEvent::Source::kUsecase, simulator::kUsecaseStopped, 6);
      MoveTo(posture);
      test_.TakeCase();
      Deliver(HostEvent::Source::kUsecase, simulator::kUsecaseStarted, 6);
      return test_.TakeCase();
    }
    // The case that is sent on the way to the posture.
    std::optional<size_t> MoveTo(const Posture& posture) {
      Deliver(HostEvent::Source::kCommon, simulator::kScreenRotated, posture.rotation);
      if (posture.hinge_angle) Deliver(HostEvent::Source::kHingeAngle, 0, *posture.hinge_angle);
      return test_.TakeCase();
    }
    bool FollowsTheHinge() const { return host_.registration().hinge_angle_callback != nullptr; }

   private:
    void Deliver(HostEvent::Source source, int number, int value) {
      host_.Deliver({source, number, value});
    }

    CheckPropertyTest& test_;
    simulator::SimulatedHost host_;
    const bool has_handle_;
  };

  // Of the last write since the last call; at most one is expected to hold a case.
  std::optional<size_t> TakeCase() {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::exchange(sent_, std::nullopt);
  }

  tools::ScratchFolder files_;
  simulator::DataFolder folder_{files_.path()};
  simulator::LogCapture silence_{[](const simulator::LogLine&) {}};

 private:
  void OnWrite(const simulator::DspWrite& write) override {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const simulator::DspMessage& message : write.parsed.messages) {
      if (message.type != simulator::kLeftMessage) continue;
      EXPECT_EQ(message.bin_count(), 2U);
      EXPECT_FALSE(sent_) << "two cases were sent for one event";
      sent_ = static_cast<size_t>(message.Response().at(0));
    }
    for (const simulator::DspMessage& message : write.parsed.messages) {
      // Three bins unless it is flat.
      if (message.type != simulator::kRightMessage || message.bin_count() != 3) continue;
      EXPECT_EQ(static_cast<size_t>(message.Response().at(0)), sent_);
    }
  }

  std::mutex mutex_;
  std::optional<size_t> sent_;
};

std::string Text(const Posture& posture) {
  return "hinge angle " + std::to_string(posture.hinge_angle.value_or(-1)) + ", rotation " +
         std::to_string(posture.rotation);
}

bool IsOneEventAway(const Posture& from, const Posture& to, bool follows_the_hinge) {
  const bool is_turned = from.rotation != to.rotation;
  const bool is_folded = from.hinge_angle != to.hinge_angle;
  if (is_folded && (!follows_the_hinge || !from.hinge_angle || !to.hinge_angle)) return false;
  return is_turned != is_folded;
}

TEST_F(CheckPropertyTest, TheNamedCaseIsTheCaseThatIsSent) {
  Random random(Seed());
  size_t taken = 0;
  size_t alternated = 0;
  size_t without_handle = 0;
  for (int i = 0; i < 110; ++i) {
    const std::string config = RandomConfig(random);
    SCOPED_TRACE("configuration " + std::to_string(i) + ": " + config);
    const tools::CheckResult result = tools::CheckConfig(config, {});
    Device device(*this, config);
    const bool has_no_cases =
        std::any_of(result.findings.begin(), result.findings.end(),
                    [](const auto& found) { return found.name == "no-cases"; });
    ASSERT_EQ(device.has_handle(), !has_no_cases);
    if (has_no_cases) {
      ++without_handle;
      continue;
    }
    // Those before the first reading come first: no reading can be taken back.
    std::vector<PostureResult> postures(result.postures.begin(), result.postures.begin() + 4);
    for (int j = 0; j < 40; ++j) postures.push_back(random.Of(result.postures));
    std::stable_partition(postures.begin(), postures.end(),
                          [](const auto& at) { return !at.posture.hinge_angle; });
    for (const PostureResult& at : postures) {
      SCOPED_TRACE(Text(at.posture));
      ASSERT_EQ(device.Activate(at.posture), at.taken);
      ++taken;
      // The next update there: the move to it from a posture where the same case was sent.
      std::vector<Posture> from;
      for (const PostureResult& other : result.postures) {
        if (other.taken && other.taken == at.taken &&
            IsOneEventAway(other.posture, at.posture, device.FollowsTheHinge())) {
          from.push_back(other.posture);
        }
      }
      if (from.empty()) continue;
      const Posture& start = random.Of(from);
      SCOPED_TRACE("from " + Text(start));
      ASSERT_EQ(device.Activate(start), at.taken);
      ASSERT_EQ(device.MoveTo(at.posture), at.alternate);
      if (at.alternate) ++alternated;
    }
  }
  // The configurations are worth something.
  EXPECT_GT(taken, 2000U);
  EXPECT_GT(alternated, 150U);
  EXPECT_GT(without_handle, 0U);
}

TEST_F(CheckPropertyTest, AnyBytesAreChecked) {
  Random random(Seed());
  const std::vector<std::string> pieces = {
      "HingeAngle",
      "ScreenRotation",
      "LeftChannel",
      "RightChannel",
      "hingeangle",
      ":",
      ":",
      "|",
      "|",
      " ",
      ",",
      "0",
      "90",
      "180",
      "HingeAngle:0,90|LeftChannel:0l.txt|RightChannel:0r.txt ",
      "0l.txt",
      "\n",
      "\t",
      "\r",
      "\xff",
      "\xe2\x80\xae",
      "\xc3\xa9",
      "99999999999"};
  for (int i = 0; i < 800; ++i) {
    std::string text;
    for (int size = random.From(0, 40); size > 0; --size) {
      text += random.Chance(90) ? random.Of(pieces)
                                : std::string(1, static_cast<char>(random.From(0, 255)));
    }
    SCOPED_TRACE("text " + std::to_string(i) + ": " + tools::Printable(text));
    const tools::CheckResult result = tools::CheckConfig(text, {});
    EXPECT_LE(result.cases_in_force, result.case_count);
    bool has_error = false;
    for (const tools::Finding& finding : result.findings) {
      has_error = has_error || finding.severity == tools::Severity::kError;
      EXPECT_EQ(tools::Printable(finding.message), finding.message);
      EXPECT_EQ(tools::Printable(finding.consequence), finding.consequence);
      if (!finding.offset) continue;
      EXPECT_LE(*finding.offset + finding.length, text.size());
      const tools::Excerpt excerpt = tools::MakeExcerpt(text, *finding.offset, finding.length, 20);
      EXPECT_EQ(tools::Printable(excerpt.text), excerpt.text);
      EXPECT_LE(excerpt.marker.size(), 22U);
    }
    // No case is lost without a word.
    EXPECT_TRUE(has_error || result.cases_in_force == result.case_count);
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
