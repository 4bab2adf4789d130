// How long the module remembers the case sent last.
#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

const std::string kTwoCases =
    "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt "
    "HingeAngle:91,180|LeftChannel:r.txt|RightChannel:l.txt";
const std::string kFirstKeys = "Case Keys : {Name : HingeAngle, Supported Index: {0 } }";
const std::string kSecondKeys = "Case Keys : {Name : HingeAngle, Supported Index: {1 } }";

Lines Sent(bool is_first, const std::string& from, int result = 0) {
  return Lines{EngineLog(INFO, "UpdateTuningData: update case keys:" + from +
                                   (is_first ? kFirstKeys : kSecondKeys))} +
         Delivered("UpdateTuningData",
                   is_first ? "left(0.5 -0.25) right(2 3)" : "left(2 3) right(0.5 -0.25)", 32,
                   result);
}

void CheckRefusedWrites(Trial& trial) {
  const std::string from_first = " previous" + kFirstKeys + " -> ";
  const std::string from_second = " previous" + kSecondKeys + " -> ";
  trial.Start(kTwoCases);
  trial.ExpectAfter("hinge 0", {});
  trial.ExpectAfter("announce 6", {});
  trial.ExpectAfter("start 6", Status(true) + Sent(true, " "));
  trial.host().dsp().RefuseNext(1, -5);
  trial.ExpectAfter("hinge 120", Sent(false, from_first, -5));
  trial.ExpectAfter("hinge 130", {});
  trial.ExpectAfter("rotation 90", {});
  trial.host().dsp().RefuseNext(1, 1);
  trial.ExpectAfter("hinge 80", Sent(true, from_second, 1));
  trial.ExpectAfter("hinge 70", {});
  trial.ExpectAfter("stop 6", Status(false));
  trial.ExpectAfter("start 6", Status(true) + Sent(true, " "));
  trial.host().SetTuningEntry(false);
  Lines unsent = Sent(false, from_first, -1);
  unsent.erase(unsent.begin() + 1);
  trial.ExpectAfter("hinge 180", unsent);
  trial.host().SetTuningEntry(true);
  trial.ExpectAfter("hinge 170", {});
}

void CheckScenarioEnd(Trial& trial) {
  trial.Start(kTwoCases);
  trial.ExpectAfter("announce 6", {});
  trial.ExpectAfter("start 6", Status(true));
  trial.ExpectAfter("hinge 0", Sent(true, " "));
  trial.ExpectAfter("withdraw 6", Status(false));
  trial.ExpectPart("the dump", "  Previous Case Keys: Null\n", trial.Dump());
  trial.ExpectAfter("hinge 100", {});
  trial.ExpectAfter("hinge 10", {});
  trial.ExpectAfter("announce 6", Status(true) + Sent(true, " "));
}

void CheckUnchangedScenario(Trial& trial) {
  // Below 90 degrees both cases hold.
  trial.Start(
      "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt "
      "HingeAngle:90,180|LeftChannel:r.txt|RightChannel:l.txt");
  trial.ExpectAfter("hinge 30", {});
  trial.ExpectAfter("announce 5", {});
  trial.ExpectAfter("start 6", Status(true) + Sent(true, " "));
  for (const char* const event :
       {"announce 5", "announce 6", "announce 4", "withdraw 4", "withdraw 5", "withdraw 5",
        "announce 5", "withdraw 6", "start 6", "start 23", "start 24", "stop 6", "stop 6",
        "stop 24", "rotation 0", "hinge 30"}) {
    trial.ExpectAfter(event, {});
  }
  trial.ExpectAfter(
      "hinge 31",
      Lines{EngineLog(INFO, "UpdateTuningData: update case keys: previous" + kFirstKeys +
                                " -> Case Keys : {Name : HingeAngle, Supported "
                                "Index: {0 1 } }")} +
          Delivered("UpdateTuningData", "left(2 3) right(0.5 -0.25)", 32));
}

}  // namespace

void AddCaseValidations(Validations& validations) {
  validations.push_back({"cases.refused-writes",
                         "Corrections that the DSP refuses are not sent again in the same posture.",
                         CheckRefusedWrites});
  validations.push_back({"cases.scenario-unchanged",
                         "Values and use cases that come and go within the scenario send nothing, "
                         "although another case has its turn.",
                         CheckUnchangedScenario});
  validations.push_back({"cases.scenario-end",
                         "The end of the scenario makes the next one send the case again.",
                         CheckScenarioEnd});
}

}  // namespace brelmo::tavi::tools
