// What the module makes of the configuration text: what it says, and which cases it keeps.
#include <algorithm>
#include <sstream>

#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

struct ConfigRow {
  const char* name;
  const char* holds;
  std::string config;
  // What init logs before its last line; calls left out.
  Lines log;
  // From "TuningData:" on, without it: the keys of each case, "|" behind each case, then the
  // indices. Rotations in an index stand in the order of their values.
  std::string table;
};

const std::string kFiles = "|LeftChannel:l.txt|RightChannel:r.txt";
const std::string kFirst = "HingeAngle:0,90" + kFiles;
const std::string kFirstState = "HingeAngle{0 }| ";
const std::string kFirstIndex = "HingeAngle {[0~90]:0, }";

Lines MalformedTwice(const std::string& item) {
  const std::string line = EngineLog(WARNING, "GetConfiginvalid name and value " + item);
  return {line, line};
}
Lines ConfigError(const std::string& text) { return {EngineLog(ERROR, "ParseConfig: " + text)}; }
Lines RuleError(const std::string& text) { return {EngineLog(ERROR, "ParseRule: " + text)}; }
Lines BadHinge(const std::string& reason) {
  return Lines{IndexError("UpdateDecisionRules: " + reason)} +
         RuleError("unsupported rule data for name HingeAngle");
}
Lines BadRotation(const std::string& value) {
  return Lines{IndexError("UpdateDecisionRules: invalid value found " + value)} +
         RuleError("unsupported rule data for name ScreenRotation");
}
Lines NotRead() {
  return {EngineLog(ERROR, "ParseQuantityFromFile: read failed"),
          EngineLog(INFO, "SetRawData: set raw data size 514")};
}

// A bad case between two good ones: the first is kept, the last is not looked at.
ConfigRow Fault(const char* name, const char* holds, const std::string& bad_case, const Lines& log,
                const std::string& index = kFirstIndex) {
  return {name, holds, kFirst + " " + bad_case + " HingeAngle:91,170" + kFiles, log,
          kFirstState + index};
}

const std::vector<ConfigRow>& ConfigRows() {
  static const std::vector<ConfigRow> rows = {
      // ---- The text ----
      {"config.spaces",
       "Spaces separate cases, however many; one before or behind is nothing.",
       "  " + kFirst + "   HingeAngle:91,180" + kFiles + " ",
       {},
       kFirstState + "HingeAngle{1 }| HingeAngle {[0~90]:0, [91~180]:1, }"},
      {"config.delimiters",
       "Delimiters in a row are one, and those at an end are none.",
       "||HingeAngle::,0,,90,|:LeftChannel:l.txt:||RightChannel:r.txt|",
       {},
       kFirstState + kFirstIndex},
      {"config.repeated-name",
       "Of a repeated name the first value counts.",
       "HingeAngle:0,90|LeftChannel:l.txt|HingeAngle:91,180|LeftChannel:none|RightChannel:r.txt|"
       "RightChannel:none",
       {},
       kFirstState + kFirstIndex},
      {"config.one-part-item", "A name without a value ends the reading.",
       kFirst + " HingeAngle:" + kFiles + " HingeAngle:91,180" + kFiles,
       MalformedTwice("HingeAngle:"), kFirstState + kFirstIndex},
      {"config.three-part-item",
       "So does an item of three parts; the items of its case before it are lost, too.",
       kFirst + " HingeAngle:91,180|LeftChannel:l.txt:x|RightChannel:r.txt",
       MalformedTwice("LeftChannel:l.txt:x"), kFirstState + kFirstIndex},
      {"config.tab", "A tab does not separate cases: it stays in the value.",
       "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt\t", NotRead(),
       kFirstState + kFirstIndex},
      {"config.carriage-return", "Nor does a carriage return, which no number may have behind it.",
       kFirst + " RightChannel:r.txt|LeftChannel:l.txt|HingeAngle:91,180\r",
       RuleError("invalid rule data name 180\r"), kFirstState + kFirstIndex},
      {"config.other-white-space", "Nor do other white space, semicolons and line feeds.",
       "HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt\v\f\r\n;x", NotRead(),
       kFirstState + kFirstIndex},
      {"config.letter-case", "Names are told apart by upper and lower case.",
       "HingeAngle:0,90|leftChannel:l.txt|RightChannel:r.txt",
       ConfigError("output LeftChannel is missed."), ""},
      // ---- Cases ----
      {"config.no-items", "A case of nothing but bars is a case without outputs.", kFirst + " |||",
       ConfigError("invalid parm size, current:1, failed: 0"), kFirstState + kFirstIndex},
      Fault("config.more-conditions", "Every case has as many conditions as the first.",
            "HingeAngle:91,180|ScreenRotation:0" + kFiles,
            ConfigError("invalid parm size, current:1, failed: 2")),
      {"config.fewer-conditions", "A case with fewer is refused, too.",
       "HingeAngle:0,90|ScreenRotation:90" + kFiles + " HingeAngle:91,180" + kFiles,
       ConfigError("invalid parm size, current:2, failed: 1"),
       "HingeAngle{0 } ScreenRotation{0 }| HingeAngle {[0~90]:0, } ScreenRotation {90:0, }"},
      Fault("config.three-conditions", "However many it has, and whatever their names.",
            "HingeAngle:91,180|ScreenRotation:0|Other:1" + kFiles,
            ConfigError("invalid parm size, current:1, failed: 3")),
      Fault("config.longer-output-name", "A longer name than an output's is a condition.",
            "HingeAngle:91,180|LeftChannelX:l.txt|RightChannel:r.txt",
            ConfigError("invalid parm size, current:1, failed: 2")),
      Fault("config.no-left", "A case needs a left output.", "HingeAngle:91,180|RightChannel:r.txt",
            ConfigError("output LeftChannel is missed.")),
      Fault("config.no-right", "A case needs a right output.",
            "HingeAngle:91,180|LeftChannel:l.txt", ConfigError("output RightChannel is missed.")),
      Fault("config.no-outputs", "Of two outputs that are missing the left one is named.",
            "HingeAngle:91,180", ConfigError("output LeftChannel is missed.")),
      {"config.no-conditions",
       "A case without conditions is refused when its files have been read.",
       "LeftChannel:l.txt|RightChannel:none",
       NotRead() +
           ConfigError("invalid case Outputs: {(LeftChannel, l.txt) (RightChannel, none) }, "
                       "Conditions: {}"),
       ""},
      Fault("config.unknown-condition", "Conditions but HingeAngle and ScreenRotation are refused.",
            "hingeAngle:91,180" + kFiles, ConfigError("invalid condition name hingeAngle")),
      Fault("config.longer-hinge-name", "Names are compared to their end.",
            "HingeAngleX:91,180" + kFiles, ConfigError("invalid condition name HingeAngleX")),
      Fault("config.longer-rotation-name", "That of the rotation is, too.",
            "ScreenRotationX:0" + kFiles, ConfigError("invalid condition name ScreenRotationX")),
      Fault("config.number-sign", "There are no comments.", "#HingeAngle:91,180" + kFiles,
            ConfigError("invalid condition name #HingeAngle")),
      Fault("config.outputs-first", "Outputs are read before rules.",
            "HingeAngle:91,x|LeftChannel:l.txt|RightChannel:none",
            NotRead() + RuleError("invalid rule data name x")),
      {"config.both-files-missing", "Each output that cannot be read has its lines.",
       "HingeAngle:0,90|LeftChannel:none|RightChannel:none", NotRead() + NotRead(),
       kFirstState + kFirstIndex},
      // ---- Numbers ----
      {"config.number-forms",
       "Numbers may have a sign, or 0x, and white space before them.",
       "HingeAngle:\t0x0,+90" + kFiles + " HingeAngle:010,0XB4" + kFiles,
       {},
       kFirstState + "HingeAngle{0 1 }| HingeAngle {[0~90]:0, [10~180]:1, }"},
      Fault("config.no-number", "What is no number is refused.", "HingeAngle:x,180" + kFiles,
            RuleError("invalid rule data name x")),
      Fault("config.first-bad-number", "The first that is refused is named.",
            "HingeAngle:91,y,x" + kFiles, RuleError("invalid rule data name y")),
      Fault("config.semicolon", "A semicolon separates no numbers.", "HingeAngle:91;180" + kFiles,
            RuleError("invalid rule data name 91;180")),
      {"config.long-number",
       "A rule may have any length.",
       "HingeAngle:0," + std::string(300, '0') + "90" + kFiles,
       {},
       kFirstState + kFirstIndex},
      Fault("config.low-number", "Numbers are of 32 bits below 0, too.",
            "HingeAngle:-2147483649,90" + kFiles, RuleError("invalid rule data name -2147483649")),
      Fault("config.behind-a-number", "Nothing may stand behind a number.",
            "HingeAngle:91,180\t" + kFiles, RuleError("invalid rule data name 180\t")),
      Fault("config.signed-hexadecimal", "A sign before 0x leaves the number decimal.",
            "HingeAngle:-0x10,180" + kFiles, RuleError("invalid rule data name -0x10")),
      Fault("config.large-number", "Numbers are of 32 bits.", "HingeAngle:91,2147483648" + kFiles,
            RuleError("invalid rule data name 2147483648")),
      Fault("config.larger-number", "Those of more than 64 bits are refused in the same way.",
            "HingeAngle:91,99999999999999999999" + kFiles,
            RuleError("invalid rule data name 99999999999999999999")),
      Fault("config.null-rule", "A rule of nothing but commas is refused.",
            "HingeAngle:,," + kFiles, RuleError("null rule data for name HingeAngle")),
      // ---- Rules ----
      Fault("config.range-of-one", "A hinge rule has two values: not one.",
            "HingeAngle:91" + kFiles, BadHinge("invalid data size 1")),
      Fault("config.range-of-three", "A hinge rule has two values: not three.",
            "HingeAngle:91,120,150" + kFiles, BadHinge("invalid data size 3")),
      Fault("config.range-above-180", "A range ends at 180 at most.", "HingeAngle:91,181" + kFiles,
            BadHinge("invalid range 91 ~ 181")),
      Fault("config.range-below-0", "A range begins at 0 at least.", "HingeAngle:-1,90" + kFiles,
            BadHinge("invalid range -1 ~ 90")),
      Fault("config.range-of-a-point", "A range is more than one point.",
            "HingeAngle:91,91" + kFiles, BadHinge("invalid range 91 ~ 91")),
      Fault("config.range-backwards", "A range goes upwards.", "HingeAngle:180,91" + kFiles,
            BadHinge("invalid range 180 ~ 91")),
      {"config.range-to-both-ends",
       "The range of all angles is one.",
       "HingeAngle:0,180" + kFiles,
       {},
       "HingeAngle{0 }| HingeAngle {[0~180]:0, }"},
      {"config.refused-range", "A refused range is not kept, the index that was made for it is.",
       "HingeAngle:90,45" + kFiles, BadHinge("invalid range 90 ~ 45"), "HingeAngle {}"},
      {"config.null-rule-index", "An index is made before its rule is looked at.",
       "ScreenRotation:," + kFiles, RuleError("null rule data for name ScreenRotation"),
       "ScreenRotation {}"},
      {"config.rotations",
       "Rotations are numbered in the order in which they are first named.",
       "ScreenRotation:180" + kFiles + " ScreenRotation:0x5A,180,0" + kFiles +
           " ScreenRotation:270,270" + kFiles,
       {},
       "ScreenRotation{0 }| ScreenRotation{1 0 2 }| ScreenRotation{3 }| "
       "ScreenRotation {0:2, 90:1, 180:0, 270:3, }"},
      {"config.bad-rotation", "A rotation but 0, 90, 180 and 270 is refused, with all of its rule.",
       "ScreenRotation:90" + kFiles + " ScreenRotation:0,45,180" + kFiles, BadRotation("45"),
       "ScreenRotation{0 }| ScreenRotation {90:0, }"},
      Fault("config.first-bad-rotation", "The first rotation that is refused is named.",
            "ScreenRotation:45,60" + kFiles, BadRotation("45"), kFirstIndex + " ScreenRotation {}"),
      {"config.rotation-of-360", "A full turn is no rotation.", "ScreenRotation:360" + kFiles,
       BadRotation("360"), "ScreenRotation {}"},
      {"config.rotation-below-0", "Nor is one backwards.", "ScreenRotation:-90" + kFiles,
       BadRotation("-90"), "ScreenRotation {}"},
      {"config.ends-in-earlier-ranges",
       "A hinge rule is looked up by its ends: its key names the first range that holds each.",
       "HingeAngle:60,120" + kFiles + " HingeAngle:0,90" + kFiles + " HingeAngle:70,80" + kFiles +
           " HingeAngle:90,180" + kFiles + " HingeAngle:0,120" + kFiles,
       {},
       "HingeAngle{0 }| HingeAngle{1 0 }| HingeAngle{0 }| HingeAngle{0 3 }| HingeAngle{1 0 }| "
       "HingeAngle {[60~120]:0, [0~90]:1, [70~80]:2, [90~180]:3, [0~120]:4, }"},
      {"config.repeated-range",
       "A range that was named before keeps its number.",
       kFirst + " HingeAngle:91,180" + kFiles + " HingeAngle:0,90" + kFiles,
       {},
       "HingeAngle{0 }| HingeAngle{1 }| HingeAngle{0 }| HingeAngle {[0~90]:0, [91~180]:1, }"},
  };
  return rows;
}

// ---- The dump's table in short ------------------------------------------------------------------

// "ScreenRotation {90:1, 0:0, }" with the rotations in the order of their values.
std::string SortedIndex(const std::string& index) {
  const size_t brace = index.find('{');
  if (index.compare(0, 14, "ScreenRotation") != 0 || brace == std::string::npos) return index;
  const size_t begin = brace + 1;
  std::istringstream entries(index.substr(begin));
  std::vector<std::pair<int, std::string>> sorted;
  for (std::string entry; entries >> entry && entry != "}";) {
    sorted.emplace_back(std::atoi(entry.c_str()), entry);
  }
  std::sort(sorted.begin(), sorted.end());
  std::string text = index.substr(0, begin);
  for (const auto& [rotation, entry] : sorted) text += entry + " ";
  return text + "}";
}

std::string Join(Lines words, const std::string& separator) {
  std::sort(words.begin(), words.end());
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
  return text;
}

// As ConfigRow has it.
std::string ShortTable(const std::string& dump) {
  std::istringstream lines(dump);
  std::string table;
  Lines keys;
  Lines indices;
  bool is_index = false;
  const auto end_case = [&] {
    if (!keys.empty()) table += Join(std::exchange(keys, {}), " ") + "| ";
  };
  for (std::string line; std::getline(lines, line);) {
    const std::string name = "      Name : ";
    const std::string index = ", Supported Index: ";
    if (line.rfind(name, 0) == 0) {
      const size_t at = line.find(index);
      keys.push_back(at == std::string::npos ? line
                                             : line.substr(name.size(), at - name.size()) +
                                                   line.substr(at + index.size()));
    } else if (line.rfind("    Output [", 0) == 0) {
      end_case();
    } else if (line.rfind("  Parameter Index:", 0) == 0) {
      is_index = true;
    } else if (is_index && !line.empty()) {
      indices.push_back(SortedIndex(line.substr(line.find_first_not_of(' '))));
    }
  }
  return table + Join(indices, " ");
}

void CheckConfig(Trial& trial, const ConfigRow& row) {
  const auto init = trial.Init(row.config);
  trial.Expect(init.has_handle, "init handed out no handle");
  Lines log;
  for (const std::string& line : trial.recorder().TakeLines()) {
    if (line.rfind("log ", 0) == 0) log.push_back(line);
  }
  trial.ExpectLines(
      "init", row.log + Lines{EntryLog(INFO, "compensation_init: initialize successfully")}, log);
  if (init.has_handle) {
    trial.ExpectText("keys and indices in the dump", row.table, ShortTable(trial.Dump()));
  }
}

// What a refused configuration left goes on working.
void CheckRejectedWorks(Trial& trial) {
  trial.Start(kFirst + " HingeAngle:91,181" + kFiles);
  trial.ExpectAfter("announce 5", {});
  trial.ExpectAfter("start 6", Status(true));
  const Lines lines = trial.After("hinge 20");
  trial.Expect(lines.size() == 3 && lines[1] == "write left(0.5 -0.25) right(2 3) = 0",
               "the case before the refused one is not sent");
  trial.ExpectAfter("hinge 91", {});
}

// Without a case there still is a scenario.
void CheckNoCaseWorks(Trial& trial) {
  trial.Start("HingeAngle:0,90");
  trial.ExpectAfter("announce 5", {});
  trial.ExpectAfter("start 6", Status(true));
  trial.ExpectAfter("hinge 20", {});
  trial.ExpectAfter("stop 6", Status(false));
}

void CheckManyCases(Trial& trial) {
  constexpr int kCases = 2000;
  std::string config;
  for (int i = 0; i < kCases; ++i) {
    const int low = i % 90;
    config +=
        "HingeAngle:" + std::to_string(low) + "," + std::to_string(low + 1 + i / 90) + kFiles + " ";
  }
  trial.Start(config + "HingeAngle:120,180" + kFiles);
  const std::string dump = trial.Dump();
  for (int i = 0; i <= kCases; ++i) {
    const std::string number = std::to_string(i);
    std::string part =
        "    Case Keys [" + number + "] :\n      Name : HingeAngle, Supported Index: {";
    trial.Expect(dump.find(part) != std::string::npos, "case " + number + " is not in the dump");
    part = "    Output [" + number + "] :\n      FileName: ";
    trial.Expect(dump.find(part) != std::string::npos,
                 "the outputs of case " + number + " are not in the dump");
    trial.StopIfFailed();
  }
  // The range of the last case has no other before it.
  trial.After("announce 5");
  trial.After("start 6");
  trial.ExpectAfter("hinge 150",
                    Lines{EngineLog(INFO,
                                    "UpdateTuningData: update case keys: Case Keys : {Name : "
                                    "HingeAngle, Supported Index: {2000 } }")} +
                        Delivered("UpdateTuningData", "left(0.5 -0.25) right(2 3)", 32));
}

}  // namespace

void AddConfigValidations(Validations& validations) {
  for (const ConfigRow& row : ConfigRows()) {
    validations.push_back({row.name, row.holds, [&row](Trial& trial) { CheckConfig(trial, row); }});
  }
  validations.push_back({"config.rejected-works", "The cases before a refused one are in force.",
                         CheckRejectedWorks});
  validations.push_back({"config.no-case-works",
                         "Where no case is in force the status still follows the scenario.",
                         CheckNoCaseWorks});
  validations.push_back(
      {"config.many-cases", "Two thousand cases are none too many.", CheckManyCases});
}

}  // namespace brelmo::tavi::tools
