// When the supported scenario starts and stops, and what the event handlers say and ignore.
#include <cstdint>

#include <array>
#include <set>
#include <sstream>

#include "console/wording.h"
#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

// No case fits before the first hinge reading: what is written is the status alone.
constexpr const char* kStatusConfig = "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt";

constexpr const char* kNone = " null";  // a payload

struct ScriptRow {
  const char* name;
  const char* holds;
  // Events; a plus or a minus behind one says that the scenario starts or stops because of it.
  const char* script;
};

constexpr ScriptRow kScripts[] = {
    {"scenario.common-value-first",
     "The scenario is active while a supported common value is announced and a use case runs.",
     "announce 5; start 6 +; start 23; stop 6; stop 23 -; start 24 +; withdraw 5 -"},
    {"scenario.usecase-first", "The order in which the two come makes no difference.",
     "start 24; announce 6 +; announce 5; withdraw 6; withdraw 5 -; stop 24; announce 5"},
    {"scenario.other-values", "Common values but 5 and 6 do not count, as unsigned numbers.",
     "start 6; announce 4; announce 7; announce 0; announce -1; announce 0x80000005; "
     "announce 5 +; withdraw 4; withdraw 5 -"},
    {"scenario.once-however-often", "A value or use case that is there already is not counted.",
     "announce 5; announce 5; start 6 +; start 6; stop 6 -; start 6 +; withdraw 5 -; announce 6 +"},
    {"scenario.unknown-withdrawn", "What was not there can be withdrawn and stopped.",
     "withdraw 5; stop 6; announce 5; start 6 +; withdraw 6; stop 23; withdraw 5 -"},
    {"scenario.any-usecase", "Every use case that is delivered counts.",
     "announce 5; start 0 +; start -1; stop 0; stop -1 -"},
};
constexpr ScriptRow kHardening[] = {
    {"hardening.null-payload", "An event without its payload changes nothing.",
     "announce 5; raw usecase 21 null; start 6 +; raw usecase 22 null; raw common 4 null; "
     "raw common 8 null; withdraw 5 -; raw common 2 null"},
};

void PlayScript(Trial& trial, const char* script) {
  trial.Start(kStatusConfig);
  bool is_active = false;
  std::istringstream steps(script);
  for (std::string step; std::getline(steps >> std::ws, step, ';');) {
    const char change = step.back();
    const bool is_change = change == '+' || change == '-';
    if (is_change) {
      is_active = change == '+';
      step.resize(step.size() - 2);
    }
    trial.ExpectAfter(step, is_change ? Status(is_active) : Lines());
    trial.ExpectPart("the dump after \"" + step + "\"",
                     is_active ? "Scenario Is Active:true\n" : "Scenario Is Active:false\n",
                     trial.Dump());
    trial.StopIfFailed();
  }
}

// ---- Every transition ---------------------------------------------------------------------------

struct Item {
  const char* add;
  const char* remove;
  uint32_t value;
  bool is_usecase;
};
constexpr std::array<Item, 5> kItems = {{{"announce 4", "withdraw 4", 4, false},
                                         {"announce 5", "withdraw 5", 5, false},
                                         {"announce 6", "withdraw 6", 6, false},
                                         {"start 6", "stop 6", 6, true},
                                         {"start 24", "stop 24", 24, true}}};

// From every set of active items, adds and removes each.
void CheckTransitions(Trial& trial) {
  const auto is_active = [](unsigned set) {
    bool has_common_value = false;
    bool has_usecase = false;
    for (size_t i = 0; i < kItems.size(); ++i) {
      if ((set >> i & 1U) == 0) continue;
      if (kItems[i].is_usecase) {
        has_usecase = true;
      } else if (kItems[i].value == 5 || kItems[i].value == 6) {
        has_common_value = true;
      }
    }
    return has_common_value && has_usecase;
  };
  trial.Start(kStatusConfig);
  unsigned set = 0;
  const auto change = [&](size_t i, bool is_added) {
    const bool was_active = is_active(set);
    set = is_added ? set | 1U << i : set & ~(1U << i);
    const bool is_now = is_active(set);
    trial.ExpectAfter(is_added ? kItems[i].add : kItems[i].remove,
                      is_now == was_active ? Lines() : Status(is_now));
    trial.StopIfFailed();
  };
  for (unsigned from = 0; from < 1U << kItems.size(); ++from) {
    for (size_t i = 0; i < kItems.size(); ++i) {
      for (const bool is_added : {true, false}) {
        for (size_t j = 0; j < kItems.size(); ++j) {
          const bool is_in = (from >> j & 1U) != 0;
          if (is_in != ((set >> j & 1U) != 0)) change(j, is_in);
        }
        change(i, is_added);
      }
    }
  }
}

void CheckTwenty(Trial& trial) {
  constexpr int kCount = 20;
  trial.Start(kStatusConfig);
  const auto deliver = [&trial](const char* event, int number, const Lines& expected) {
    trial.ExpectAfter(std::string(event) + " " + std::to_string(number), expected);
  };
  for (int i = 0; i < kCount; ++i) deliver("announce", 100 + i, {});
  deliver("announce", 5, {});
  for (int i = 0; i < kCount; ++i) deliver("start", 100 + i, i == 0 ? Status(true) : Lines());
  for (int i = 0; i < kCount; ++i) deliver("withdraw", 100 + i, {});
  for (int i = 0; i < kCount; ++i) {
    deliver("stop", 100 + i, i == kCount - 1 ? Status(false) : Lines());
  }
}

// ---- Handlers -----------------------------------------------------------------------------------

void CheckStatusBytes(Trial& trial) {
  trial.Start(kStatusConfig);
  for (const char* const event : {"announce 5", "start 6", "stop 6"}) trial.After(event);
  const auto writes = trial.recorder().TakeWrites();
  trial.Expect(writes.size() == 2,
               "a scenario that starts and stops made " + Count(writes.size(), "write"));
  for (size_t i = 0; i < writes.size() && i < 2; ++i) {
    const unsigned char status = i == 0 ? 1 : 0;
    trial.Expect(
        writes[i].bytes == std::vector<unsigned char>{0, 0, 0, 0, 4, 0, 0, 0, status, 0, 0, 0},
        "the message is not 00 00 00 00 04 00 00 00 0" + std::to_string(status) + " 00 00 00");
  }
}

void CheckRefusedStatus(Trial& trial) {
  trial.Start(kStatusConfig);
  trial.After("announce 5");
  for (const int code : {-5, 1}) {
    trial.host().dsp().RefuseNext(1, code);
    trial.ExpectAfter("start 6", Status(true, code));
    trial.ExpectAfter("start 23", {});
    trial.ExpectAfter("stop 6", {});
    trial.ExpectAfter("stop 23", Status(false));
  }
  // The corrections follow a status that was refused.
  trial.After("hinge 20");
  trial.host().dsp().RefuseNext(1, -5);
  const Lines lines = trial.After("start 6");
  trial.Expect(lines.size() == 5 && lines[3] == "write left(0.5 -0.25) right(2 3) = 0",
               "the corrections did not follow a status that was refused");
}

void CheckAbsentEntry(Trial& trial) {
  const Lines failed = {EngineLog(ERROR, "UpdateModuleStatus: fail to update tuning.")};
  trial.Start(kStatusConfig);
  trial.After("announce 5");
  trial.host().SetTuningEntry(false);
  trial.ExpectAfter("start 6", failed);
  trial.ExpectAfter("stop 6", failed);
  trial.host().SetTuningEntry(true);
  trial.ExpectAfter("start 6", Status(true));
}

void CheckUnsupportedEvents(Trial& trial, const std::string& payload) {
  trial.Start(kStatusConfig);
  for (const int number : {0, 1, 3, 5, 7, 9, 21, 22, -2}) {
    const std::string text = std::to_string(number);
    const Lines said = {
        EntryLog(INFO, "audio_hw_compensation: common event : unsupported event " + text)};
    trial.ExpectAfter(std::string("raw common ").append(text).append(payload), said);
  }
  for (const int number : {0, 2, 4, 8, 20, 23, -21}) {
    const std::string text = std::to_string(number);
    const Lines said = {
        EntryLog(WARNING, "audio_hw_compensation: use case event: unsupported event " + text)};
    std::string event = "raw usecase " + text;
    event += payload == kNone ? kNone : " 6";
    trial.ExpectAfter(event, said);
  }
  // None of them counted as a value or a use case.
  for (const char* const event : {"announce 5", "withdraw 5", "start 6"}) {
    trial.ExpectAfter(event, {});
  }
}

void CheckPosture(Trial& trial) {
  const auto expect_posture = [&trial](const std::string& event, const char* posture) {
    trial.ExpectAfter(event, {});
    trial.ExpectPart("the dump after \"" + event + "\"", std::string("    ") + posture + "\n",
                     trial.Dump());
  };
  trial.Start(kStatusConfig);
  for (const int angle : {-1, 181, 360, INT32_MIN, INT32_MAX}) {
    expect_posture("hinge " + std::to_string(angle), "hinge angle:-1, screen rotation:0");
  }
  expect_posture("hinge 0", "hinge angle:0, screen rotation:0");
  expect_posture("hinge 181", "hinge angle:0, screen rotation:0");
  expect_posture("hinge 180", "hinge angle:180, screen rotation:0");
  expect_posture("rotation 270", "hinge angle:180, screen rotation:270");
  expect_posture("rotation -45", "hinge angle:180, screen rotation:-45");
  expect_posture("rotation 2147483647", "hinge angle:180, screen rotation:2147483647");
  expect_posture("rotation -1", "hinge angle:180, screen rotation:-1");
  expect_posture("rotation 360", "hinge angle:180, screen rotation:360");
  // The scenario's events leave it alone.
  for (const char* const event : {"announce 5", "withdraw 5", "start 6", "stop 6"}) {
    expect_posture(event, "hinge angle:180, screen rotation:360");
  }
}

}  // namespace

void AddScenarioValidations(Validations& validations) {
  for (const ScriptRow& row : kScripts) {
    validations.push_back(
        {row.name, row.holds, [&row](Trial& trial) { PlayScript(trial, row.script); }});
  }
  validations.push_back({"scenario.every-transition",
                         "From every set of active values and use cases, each that comes or goes "
                         "has its due effect.",
                         CheckTransitions});
  validations.push_back(
      {"scenario.status-bytes", "A status is its twelve bytes.", CheckStatusBytes});
  validations.push_back({"scenario.refused-status",
                         "A status that the DSP refuses is not sent again, and the state is kept.",
                         CheckRefusedStatus});
  validations.push_back({"scenario.absent-entry",
                         "Without a tuning entry every write fails, and nothing else changes.",
                         CheckAbsentEntry});
  validations.push_back({"scenario.unsupported-events",
                         "Events that the module does not know are logged, and change nothing.",
                         [](Trial& trial) { CheckUnsupportedEvents(trial, " 5"); }});
  validations.push_back(
      {"scenario.twenty", "Any number of values and use cases may be there.", CheckTwenty});
  validations.push_back({"scenario.posture",
                         "Every rotation is taken, and a hinge angle from 0 to 180.",
                         CheckPosture});
}

void AddHardeningValidations(Validations& validations) {
  validations.push_back(
      {"hardening.null-text", "A null text is an empty one: success without a handle.",
       [](Trial& trial) {
         const auto init = trial.Init(std::nullopt);
         trial.Expect(init.result == 0 && !init.has_handle,
                      "init returned " + std::to_string(init.result) +
                          (init.has_handle ? " with a handle" : ""));
         trial.ExpectLines("init",
                           {"call audio_hal_calloc(32)",
                            EntryLog(ERROR, "compensation_init: invalid parameters ")},
                           trial.recorder().TakeLines());
       }});
  for (const ScriptRow& row : kHardening) {
    validations.push_back(
        {row.name, row.holds, [&row](Trial& trial) { PlayScript(trial, row.script); }});
  }
  validations.push_back({"hardening.null-payload-of-unsupported-events",
                         "Events that the module does not know may come without payload, too.",
                         [](Trial& trial) { CheckUnsupportedEvents(trial, kNone); }});
}

}  // namespace brelmo::tavi::tools
