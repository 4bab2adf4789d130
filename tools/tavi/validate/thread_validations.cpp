// The host's three threads, and its dump thread, beside each other.
#include <algorithm>
#include <chrono>
#include <set>
#include <thread>

#include "console/wording.h"
#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

using std::chrono::milliseconds;

// Four cases that cover every posture and do not overlap.
void StartFourCases(Trial& trial) {
  std::string config;
  for (int i = 0; i < 4; ++i) {
    const std::string number = std::to_string(i);
    std::string content = number;
    content.append(",").append(number);
    for (const char* const channel : {"l.txt", "r.txt"}) trial.WriteFile(number + channel, content);
    config += i < 2 ? "HingeAngle:0,90|" : "HingeAngle:91,180|";
    config += i % 2 == 0 ? "ScreenRotation:0,180|" : "ScreenRotation:90,270|";
    config.append("LeftChannel:").append(number).append("l.txt|RightChannel:");
    config.append(number).append("r.txt ");
  }
  trial.Start(config);
}

// One event for each thread.
void PostRound(Trial& trial, int round) {
  static constexpr int kRotations[] = {0, 90, 180, 270, 45};
  trial.Post(round % 3 == 0   ? "rotation " + std::to_string(kRotations[round / 3 % 5])
             : round % 3 == 1 ? "announce " + std::to_string(5 + round % 2)
                              : "withdraw " + std::to_string(5 + round / 2 % 2));
  trial.Post(round % 4 < 2 ? "start " + std::to_string(22 + round % 3)
                           : "stop " + std::to_string(22 + round / 3 % 3));
  trial.Post("hinge " + std::to_string(round * 37 % 185));
}

// The statuses alternate, and what is sent between is a whole case while the status is active.
// Returns the last write.
std::string CheckWrites(Trial& trial) {
  bool is_active = false;
  std::string last;
  for (const std::string& line : trial.recorder().TakeLines()) {
    if (line.rfind("write", 0) != 0) continue;
    const std::string messages = line.substr(0, line.find(" ="));
    if (messages.rfind("write status", 0) == 0) {
      is_active = !is_active;
      trial.ExpectText("a status", is_active ? "write status 1" : "write status 0", messages);
    } else {
      static const std::set<std::string> cases = {
          "write left(0 0) right(0 0)", "write left(1 1) right(1 1)", "write left(2 2) right(2 2)",
          "write left(3 3) right(3 3)"};
      const bool is_case = cases.count(messages) != 0;
      trial.Expect(is_case, "no case's corrections: " + messages);
      trial.Expect(is_active, "corrections without an active scenario: " + messages);
      trial.Expect(messages != last, "the same corrections twice: " + messages);
    }
    last = messages;
    trial.StopIfFailed();
  }
  return last;
}

void CheckTraffic(Trial& trial) {
  StartFourCases(trial);
  const std::string fresh = trial.Dump();
  const std::string table = fresh.substr(std::min(fresh.find("  TuningData:"), fresh.size()));
  for (int round = 0; round < 300; ++round) {
    PostRound(trial, round);
    if (round % 50 == 0) trial.host().dsp().RefuseNext(3, -5);
    if (round % 10 != 0) continue;
    const std::string dump = trial.Dump();
    trial.Expect(dump.size() > table.size() &&
                     dump.compare(dump.size() - table.size(), table.size(), table) == 0,
                 "a dump amid traffic does not end in the table that init made: " + Quote(dump));
    trial.StopIfFailed();
  }
  // Whatever came before, this is where it ends.
  for (const char* const event : {"announce 5", "rotation 270", "start 6", "hinge 91"}) {
    trial.Post(event);
  }
  trial.Drain();
  trial.ExpectText("the last write", "write left(3 3) right(3 3)", CheckWrites(trial));
  trial.ExpectPart("the last dump", "    hinge angle:91, screen rotation:270\n", trial.Dump());
  trial.Deinit();
}

void CheckDeinitAmidTraffic(Trial& trial) {
  StartFourCases(trial);
  for (int round = 0; round < 200; ++round) PostRound(trial, round);
  trial.Deinit();
  trial.ExpectText("the dump after deinit", "\n", trial.Dump());
  for (int round = 0; round < 30; ++round) PostRound(trial, round);  // handlers that the host kept
  trial.Drain();
  CheckWrites(trial);
}

// ---- The lock -----------------------------------------------------------------------------------

struct LockRow {
  const char* name;
  const char* holds;
  const char* holder;  // makes a write, which the DSP keeps
  const char* event;   // of another thread
  const char* trace;   // not in the dump before the event took its turn; may be null
};

constexpr LockRow kLocks[] = {
    {"threads.hinge-waits", "A hinge reading waits while another thread writes.", "stop 24",
     "hinge 130", "hinge angle:130,"},
    {"threads.rotation-waits", "So does a rotation.", "hinge 130", "rotation 90", "rotation:90\n"},
    {"threads.same-hinge-waits",
     "A reading equal to the last waits, too: it may not be the last when its turn comes.",
     "rotation 90", "hinge 30", nullptr},
    {"threads.same-rotation-waits", "So does a rotation equal to the last.", "hinge 130",
     "rotation 0", nullptr},
    {"threads.announcement-waits", "So does a value that is announced.", "hinge 130", "announce 6",
     nullptr},
    {"threads.withdrawal-waits", "So does one that is withdrawn.", "hinge 130", "withdraw 5",
     "Active:false"},
    {"threads.start-waits", "So does a use case that starts.", "hinge 130", "start 6", nullptr},
    {"threads.stop-waits", "So does one that stops.", "hinge 130", "stop 24", "Active:false"},
};

// The writer keeps the module's lock until the write is let go.
void CheckWaits(Trial& trial, const LockRow& row) {
  constexpr milliseconds kMoment{60};  // for what must not happen
  StartFourCases(trial);
  for (const char* const event : {"announce 5", "start 24", "hinge 30"}) trial.After(event);
  const size_t ended = trial.recorder().ended_events();
  trial.recorder().HoldWrites();
  trial.Post(row.holder);
  if (!trial.recorder().WaitForHeldWrite(trial.setup().patience)) {
    trial.recorder().ReleaseWrites();
    trial.Abandon("\"" + std::string(row.holder) + "\" made no write");
  }
  trial.Post(row.event);
  std::this_thread::sleep_for(kMoment);
  const std::string dump = trial.Dump();
  trial.Expect(trial.recorder().ended_events() == ended,
               "\"" + std::string(row.event) + "\" was over before the write");
  trial.Expect(row.trace == nullptr || dump.find(row.trace) == std::string::npos,
               "\"" + std::string(row.event) + "\" changed the engine during the write: " +
                   Quote(row.trace == nullptr ? "" : row.trace) + " is in the dump");
  trial.recorder().ReleaseWrites();
  trial.Drain();
  trial.Expect(row.trace == nullptr || trial.Dump().find(row.trace) != std::string::npos,
               "\"" + std::string(row.event) + "\" had no effect behind the write");
}

}  // namespace

void AddThreadValidations(Validations& validations) {
  for (const LockRow& row : kLocks) {
    validations.push_back({row.name, row.holds, [&row](Trial& trial) { CheckWaits(trial, row); }});
  }
  validations.push_back({"threads.traffic",
                         "Events on three threads, dumps and refusals beside them: no write is "
                         "torn, repeated or out of order.",
                         CheckTraffic});
  validations.push_back({"threads.deinit-amid-traffic",
                         "Deinit may come while events are under way, and events after it.",
                         CheckDeinitAmidTraffic});
}

}  // namespace brelmo::tavi::tools
