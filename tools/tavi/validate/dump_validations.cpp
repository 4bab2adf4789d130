// The text that the dump entry writes, and when.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <thread>

#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

// Brings what has no order into one: neighbouring lines with six blanks in front.
std::string Sorted(const std::string& dump) {
  std::istringstream stream(InFixedOrder(dump));
  Lines group;
  std::string result;
  const auto flush = [&] {
    std::sort(group.begin(), group.end());
    for (const std::string& line : group) result += line + "\n";
    group.clear();
  };
  for (std::string line; std::getline(stream, line);) {
    if (line.rfind("      ", 0) == 0) {
      group.push_back(line);
    } else {
      flush();
      result += line + "\n";
    }
  }
  flush();
  return result;
}

constexpr const char* kConfig =
    "HingeAngle:0,90|ScreenRotation:180|LeftChannel:l.txt|RightChannel:none.txt "
    "HingeAngle:60,180|ScreenRotation:180|LeftChannel:l.txt|RightChannel:r.txt "
    "HingeAngle:90,180|LeftChannel:l.txt|RightChannel:r.txt";
constexpr const char* kTable =
    "  TuningData:\n"
    "    Case Keys [0] :\n"
    "      Name : HingeAngle, Supported Index: {0 }\n"
    "      Name : ScreenRotation, Supported Index: {0 }\n"
    "    Output [0] :\n"
    "      FileName: , Type:1, Data Size:514\n"
    "      FileName: l.txt, Type:0, Data Size:2\n"
    "    Case Keys [1] :\n"
    "      Name : HingeAngle, Supported Index: {0 1 }\n"
    "      Name : ScreenRotation, Supported Index: {0 }\n"
    "    Output [1] :\n"
    "      FileName: l.txt, Type:0, Data Size:2\n"
    "      FileName: r.txt, Type:1, Data Size:2\n"
    "  Parameter Index:\n"
    "      HingeAngle {[0~90]:0, [60~180]:1, }\n"
    "      ScreenRotation {180:0, }\n"
    "\n";

void CheckText(Trial& trial) {
  trial.Start(kConfig);
  const std::string head =
      "TelephonySpeakerCompensation :\n"
      "  Optional Parameters:\n";
  trial.ExpectText("the dump of a fresh engine",
                   head +
                       "    hinge angle:-1, screen rotation:0\n"
                       "  Supported Scenario Is Active:false\n"
                       "  Previous Case Keys: Null\n" +
                       kTable,
                   Sorted(trial.Dump()));
  for (const char* const event :
       {"announce 6", "start 24", "rotation 180", "hinge 7", "rotation -45"}) {
    trial.After(event);
  }
  trial.ExpectText("the dump in the scenario",
                   head +
                       "    hinge angle:7, screen rotation:-45\n"
                       "  Supported Scenario Is Active:true\n"
                       "  Previous Case Keys:Case Keys : {Name : HingeAngle, Supported Index: {0 } "
                       "Name : ScreenRotation, Supported Index: {0 } }\n" +
                       kTable,
                   Sorted(trial.Dump()));
  trial.After("stop 24");
  trial.ExpectText("the dump behind the scenario",
                   head +
                       "    hinge angle:7, screen rotation:-45\n"
                       "  Supported Scenario Is Active:false\n"
                       "  Previous Case Keys: Null\n" +
                       kTable,
                   Sorted(trial.Dump()));
}

void CheckEmptyTable(Trial& trial) {
  trial.Start("HingeAngle:0,90");
  trial.ExpectText("the dump of an engine without cases",
                   "TelephonySpeakerCompensation :\n"
                   "  Optional Parameters:\n"
                   "    hinge angle:-1, screen rotation:0\n"
                   "  Supported Scenario Is Active:false\n"
                   "  Previous Case Keys: Null\n"
                   "  TuningData:\n"
                   "  Parameter Index:\n"
                   "\n",
                   trial.Dump());
}

// Where each case has one condition they reach the table in the order of the text.
void CheckOrderOfIndices(Trial& trial) {
  const std::string rotation = "      ScreenRotation {0:0, }\n";
  const std::string hinge = "      HingeAngle {[0~90]:0, }\n";
  for (const bool is_rotation_first : {true, false}) {
    trial.Start(is_rotation_first ? "ScreenRotation:0|LeftChannel:l.txt|RightChannel:r.txt "
                                    "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt"
                                  : "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt "
                                    "ScreenRotation:0|LeftChannel:l.txt|RightChannel:r.txt");
    trial.ExpectPart(
        "the dump",
        "  Parameter Index:\n" + (is_rotation_first ? rotation + hinge : hinge + rotation) + "\n",
        trial.Dump());
    trial.Deinit();
  }
}

void CheckNullHandle(Trial& trial) {
  trial.ExpectText("the dump before init", "\n", trial.Dump());
  trial.Start(kConfig);
  trial.Deinit();
  trial.ExpectText("the dump after deinit", "\n", trial.Dump());
}

// The DSP holds on to a write, and with it the module holds its lock.
void CheckDoesNotWait(Trial& trial) {
  trial.Start("HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt");
  trial.After("hinge 10");
  trial.After("announce 5");
  trial.recorder().HoldWrites();
  trial.Post("start 6");
  if (!trial.recorder().WaitForHeldWrite(trial.setup().patience)) {
    trial.recorder().ReleaseWrites();
    trial.Abandon("\"start 6\" made no write");
  }
  const std::string dump = trial.Dump();
  trial.ExpectPart("the dump during a write", "Scenario Is Active:true\n", dump);
  trial.recorder().ReleaseWrites();
  trial.Drain();
}

void CheckChangesNothing(Trial& trial) {
  trial.Start("HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt");
  for (const char* const event : {"announce 5", "hinge 10", "start 6"}) trial.After(event);
  const std::string first = trial.Dump();
  trial.ExpectText("a second dump", first, trial.Dump());
  trial.ExpectLines("a dump", {}, trial.recorder().TakeLines());
  trial.ExpectAfter("hinge 20", {});
}

// A descriptor that takes nothing, and a pipe with a slow reader.
void CheckDescriptors(Trial& trial) {
  trial.Start(kConfig);
  const auto dump = [&trial](int fd, const char* kind) {
    trial.report().Set(std::string("dump to ") + kind);
    trial.Expect(trial.module().descriptor().dump(fd, trial.host().handle()) == 0,
                 "dump did not return 0");
  };
  dump(-1, "no descriptor");
  const int read_only = open("/dev/null", O_RDONLY | O_CLOEXEC);
  dump(read_only, "a descriptor that is for reading");
  close(read_only);
  std::array<int, 2> ends{};
  if (pipe(ends.data()) != 0) trial.Abandon("no pipe can be made");
  std::string text;
  std::thread reader([&] {
    std::array<char, 1> byte{};
    while (read(ends[0], byte.data(), 1) == 1) text += byte[0];
  });
  dump(ends[1], "a pipe");
  close(ends[1]);
  reader.join();
  close(ends[0]);
  trial.ExpectText("the dump through a pipe", trial.Dump(), text);
}

}  // namespace

void AddDumpValidations(Validations& validations) {
  validations.push_back({"dump.text", "The dump is exactly its text, in every state.", CheckText});
  validations.push_back(
      {"dump.no-cases", "An engine without cases has an empty table.", CheckEmptyTable});
  validations.push_back({"dump.order-of-indices",
                         "Indices stand in the order in which their names came first.",
                         CheckOrderOfIndices});
  validations.push_back(
      {"dump.null-handle", "Without a handle the dump is a line feed.", CheckNullHandle});
  validations.push_back({"dump.does-not-wait", "A dump returns while the DSP holds on to a write.",
                         CheckDoesNotWait});
  validations.push_back(
      {"dump.changes-nothing", "A dump changes, calls and logs nothing.", CheckChangesNothing});
  validations.push_back({"dump.descriptors",
                         "Any file descriptor will do, those that take nothing included.",
                         CheckDescriptors});
}

}  // namespace brelmo::tavi::tools
