// What does not depend on the log, and what the log leaves alone.
#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

constexpr const char* kLoggedConfig =
    "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:none.txt "
    "HingeAngle:91,180|LeftChannel:empty.txt|RightChannel:empty.txt "
    "HingeAngle:91,181|LeftChannel:l.txt|RightChannel:r.txt bad";

constexpr const char* kEvents[] = {
    "announce 5", "start 6",     "hinge 30",   "hinge 120",      "hinge 200",
    "hinge 20",   "rotation 90", "stop 6",     "raw common 3 0", "raw usecase 3 6",
    "start 23",   "hinge 130",   "withdraw 5",
};

struct LoggedLife {
  Lines log;
  Lines rest;  // calls, writes and dumps
};

LoggedLife Play(Trial& trial, android::base::LogSeverity threshold) {
  android::base::SetMinimumLogSeverity(threshold);
  trial.WriteFile("empty.txt", "");
  LoggedLife life;
  const auto collect = [&] {
    for (std::string& line : trial.recorder().TakeLines()) {
      (line.rfind("log ", 0) == 0 ? life.log : life.rest).push_back(std::move(line));
    }
  };
  trial.host().RefuseCommonClient(-3);
  trial.Init(kLoggedConfig);
  trial.Init("bad");
  if (!trial.Init(kLoggedConfig).has_handle) trial.Abandon("init handed out no handle");
  collect();
  for (const char* const event : kEvents) {
    if (std::string(event) == "hinge 20") trial.host().dsp().RefuseNext(1, -5);
    trial.Deliver(event);
    collect();
    life.rest.push_back(trial.Dump());
  }
  trial.Deinit();
  collect();
  return life;
}

void CheckSuppressed(Trial& trial) {
  const LoggedLife life = Play(trial, INFO);
  const LoggedLife suppressed = Play(trial, android::base::FATAL);
  trial.ExpectLines("with every line suppressed, the log", {}, suppressed.log);
  trial.ExpectLines("with every line suppressed, calls, writes and dumps", life.rest,
                    suppressed.rest);
  Lines errors;
  for (const std::string& line : life.log) {
    if (line.rfind("log ERROR", 0) == 0) errors.push_back(line);
  }
  const LoggedLife only_errors = Play(trial, ERROR);
  trial.ExpectLines("with errors alone, the log", errors, only_errors.log);
  trial.ExpectLines("with errors alone, calls, writes and dumps", life.rest, only_errors.rest);
}

void CheckErrno(Trial& trial) {
  trial.WriteFile("empty.txt", "");
  trial.Start(kLoggedConfig);
  trial.recorder().WatchErrno();
  for (const char* const event : kEvents) {
    trial.host().dsp().RefuseNext(1, -5);
    trial.Deliver(event);
    for (const std::string& fault : trial.recorder().TakeViolations()) {
      trial.Fail("\"" + std::string(event) + "\": " + fault);
    }
  }
}

}  // namespace

void AddLoggingValidations(Validations& validations) {
  validations.push_back({"log.suppressed",
                         "With lines below a severity suppressed nothing else changes.",
                         CheckSuppressed});
  validations.push_back(
      {"log.keeps-errno", "Events leave errno as it was, whatever the logger does.", CheckErrno});
}

}  // namespace brelmo::tavi::tools
