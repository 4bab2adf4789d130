#include "stress/episode.h"

#include <algorithm>
#include <array>
#include <random>
#include <utility>

#include "scenario/scenario.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::HostEvent;

// The standard's generator, but not its distributions: they differ between libraries.
class Chance {
 public:
  Chance(uint64_t seed, uint64_t number) {
    std::seed_seq words{seed & 0xFFFFFFFF, seed >> 32, number & 0xFFFFFFFF, number >> 32};
    generator_.seed(words);
  }
  // From 0 to `count` - 1.
  size_t Below(size_t count) { return generator_() % count; }
  bool OneIn(size_t count) { return Below(count) == 0; }
  template <size_t kCount>
  int Of(const std::array<int, kCount>& values) {
    return values[Below(kCount)];
  }

 private:
  std::mt19937_64 generator_;
};

constexpr std::array<int, 11> kAngles = {0, 1, 30, 45, 60, 89, 90, 91, 120, 179, 180};
constexpr std::array<int, 4> kRotations = {0, 90, 180, 270};

std::string Number(int value) { return std::to_string(value); }

std::string MakeRule(Chance& chance, bool is_hinge) {
  if (is_hinge) {
    const size_t low = chance.Below(kAngles.size() - 1);
    const size_t high = low + 1 + chance.Below(kAngles.size() - 1 - low);
    return "HingeAngle:" + Number(kAngles[low]) + "," + Number(kAngles[high]) + "|";
  }
  std::string rule = "ScreenRotation:" + Number(chance.Of(kRotations));
  while (!chance.OneIn(3)) rule += "," + Number(chance.Of(kRotations));
  return rule + "|";
}

std::string MakeContent(Chance& chance) {
  const size_t bins = chance.OneIn(4) ? 257 : 1 + chance.Below(4);
  std::string content;
  for (size_t i = 0; i < bins; ++i) {
    content += Number(static_cast<int>(chance.Below(2000)) - 1000) + ".5," +
               Number(static_cast<int>(chance.Below(100))) + ".25\n";
  }
  return content;
}

void MakeConfig(Chance& chance, Episode& episode) {
  constexpr size_t kFiles = 6;
  for (size_t i = 0; i < kFiles; ++i) {
    episode.files["f" + std::to_string(i) + ".txt"] = MakeContent(chance);
  }
  episode.files["empty.txt"] = "";
  episode.files["bad.txt"] = "1,0\n1;0\n";
  const auto file = [&] {
    if (!chance.OneIn(6)) return "f" + std::to_string(chance.Below(kFiles)) + ".txt";
    static const std::array<const char*, 3> odd = {"empty.txt", "bad.txt", "none.txt"};
    return std::string(odd[chance.Below(odd.size())]);
  };
  // Hinge, rotation, one of the two in each case, or, twice as often, both.
  enum Kind : size_t { kHinge, kRotation, kEither };
  const size_t kind = chance.Below(5);
  for (size_t count = 1 + chance.Below(6); count > 0; --count) {
    std::string text;
    const size_t own = kind == kEither ? chance.Below(2) : kind;
    if (own != kRotation) text += MakeRule(chance, true);
    if (own != kHinge) text += MakeRule(chance, false);
    episode.cases.push_back(text + "LeftChannel:" + file() + "|RightChannel:" + file());
  }
  if (chance.OneIn(6)) {
    static const std::array<const char*, 3> bad = {
        "HingeAngle:91,181|ScreenRotation:0|LeftChannel:f0.txt|RightChannel:f1.txt",
        "HingeAngle:0,90|LeftChannel:f0.txt", "HingeAngle:0,90|LeftChannel"};
    episode.cases.emplace_back(bad[chance.Below(bad.size())]);
  } else if (chance.OneIn(12)) {
    // Its first case is refused, so no case is in force.
    episode.cases.insert(episode.cases.begin(), "HingeAngle:0,90|LeftChannel:f0.txt");
  }
}

// What the module registers for comes as it does on a device; the rest is forced on it. After
// deinit everything is.
std::string MakeCommonEvent(Chance& chance, bool is_forced) {
  static constexpr std::array<int, 6> kOtherRotations = {0, 90, 180, 270, 45, -90};
  static constexpr std::array<int, 5> kValues = {5, 6, 5, 4, 7};
  if (chance.OneIn(12)) {
    static constexpr std::array<int, 7> kOthers = {0, 1, 3, 5, 6, 7, 9};
    return "raw common " + Number(chance.Of(kOthers)) + " 5";
  }
  const size_t kind = chance.Below(5);
  const int number = kind < 2 ? 8 : kind < 4 ? 2 : 4;
  const int value = number == 8 ? chance.Of(kOtherRotations) : chance.Of(kValues);
  if (is_forced) return "raw common " + Number(number) + " " + Number(value);
  return (number == 8 ? "rotation " : number == 2 ? "announce " : "withdraw ") + Number(value);
}

std::string MakeUsecaseEvent(Chance& chance, bool is_forced) {
  static constexpr std::array<int, 5> kUsecases = {6, 23, 24, 0, 7};
  if (chance.OneIn(12)) {
    return "raw usecase " + Number(chance.OneIn(2) ? 20 : 23) + " 6";
  }
  const bool is_start = !chance.OneIn(3);
  const int usecase = chance.Of(kUsecases);
  if (is_forced || usecase < 6 || usecase == 7) {
    return "raw usecase " + Number(is_start ? 21 : 22) + " " + Number(usecase);
  }
  return (is_start ? "start " : "stop ") + Number(usecase);
}

std::string MakeHingeEvent(Chance& chance, bool is_forced) {
  const int angle = chance.Of(kAngles) + static_cast<int>(chance.Below(3)) - 1;
  return (is_forced ? "raw hinge " : "hinge ") + Number(angle);
}

Round MakeRound(Chance& chance, bool has_hinge, bool& is_absent, bool is_forced) {
  Round round;
  if (is_absent || chance.OneIn(12)) {
    static const std::array<const char*, 5> faults = {
        "dsp refuse 1 -5", "dsp refuse 3 1", "dsp slow 200us", "dsp slow 0us", "dsp absent"};
    round.fault = is_absent ? "dsp present" : faults[chance.Below(faults.size())];
    is_absent = *round.fault == "dsp absent";
  }
  // Five at most: their orders are tried one by one.
  for (size_t count = 1 + chance.Below(5); count > 0; --count) {
    const size_t thread = chance.Below(has_hinge ? 3 : 2);
    round.events.push_back(thread == 0   ? MakeCommonEvent(chance, is_forced)
                           : thread == 1 ? MakeUsecaseEvent(chance, is_forced)
                                         : MakeHingeEvent(chance, is_forced));
  }
  round.has_dump = chance.OneIn(4);
  return round;
}

}  // namespace

std::string Episode::Config() const {
  std::string config;
  for (const std::string& one : cases) config += (config.empty() ? "" : " ") + one;
  return config;
}

size_t Episode::event_count() const {
  size_t count = 0;
  for (const Round& round : rounds) count += round.events.size();
  return count;
}

EngineModel Episode::MakeModel() const {
  return {ReadModelConfig(Config()), [this](const std::string& name) -> std::optional<std::string> {
            const auto file = files.find(name);
            if (file == files.end()) return std::nullopt;
            return file->second;
          }};
}

Episode MakeEpisode(uint64_t seed, uint64_t number) {
  constexpr size_t kRounds = 150;
  constexpr size_t kLateRounds = 10;
  Chance chance(seed, number);
  Episode episode;
  MakeConfig(chance, episode);
  // As the module sees it: there is no callback without such a condition.
  bool has_hinge = false;
  for (const auto& one : ReadModelConfig(episode.Config()).cases) {
    has_hinge = has_hinge || one.conditions.count("HingeAngle") != 0;
  }
  bool is_absent = false;
  for (size_t i = 0; i < kRounds; ++i) {
    episode.rounds.push_back(MakeRound(chance, has_hinge, is_absent, false));
  }
  episode.rounds.back().is_last = true;
  for (size_t i = 0; i < kLateRounds; ++i) {
    episode.rounds.push_back(MakeRound(chance, has_hinge, is_absent, true));
  }
  return episode;
}

HostEvent ToRawEvent(const std::string& step) {
  HostEvent event = std::get<EventStep>(ParseStep(step, 0).value().action).event;
  event.is_raw = true;
  return event;
}

}  // namespace brelmo::tavi::tools
