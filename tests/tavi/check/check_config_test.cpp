// Each diagnostic of a configuration check: what raises it, where it points, and what just does
// not.
#include "check/check_config.h"

#include <sys/stat.h>

#include <algorithm>
#include <map>
#include <sstream>

#include <gmock/gmock.h>

#include "data_folder.h"
#include "temporary_folder.h"

namespace brelmo::tavi::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using tools::CheckConfig;
using tools::CheckResult;
using tools::Finding;

std::string Repeat(const std::string& text, int count) {
  std::string all;
  for (int i = 0; i < count; ++i) all += text;
  return all;
}

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

const std::map<std::string, std::string> kSeverities = {
    {"malformed-item", "error"},
    {"no-cases", "error"},
    {"condition-count", "error"},
    {"missing-output", "error"},
    {"unknown-condition", "error"},
    {"no-conditions", "error"},
    {"bad-value", "error"},
    {"bad-range", "error"},
    {"bad-rotation", "error"},
    {"cases-ignored", "error"},
    {"repeated-name", "warning"},
    {"stray-whitespace", "warning"},
    {"flat-response", "error"},
    {"empty-response", "error"},
    {"bin-count", "warning"},
    {"not-finite", "error"},
    {"complex-edge-bin", "warning"},
    {"high-gain", "warning"},
    {"wider-than-declared", "warning"},
    {"narrower-than-declared", "warning"},
    {"alternating-cases", "warning"},
    {"unreachable-case", "warning"},
    {"uncovered-posture", "warning"},
    {"before-first-hinge-reading", "note"},
    {"endless-file", "error"},
    {"null-character", "warning"},
};

class CheckTest : public testing::Test {
 protected:
  CheckTest() { files_.Write("good.txt", Repeat("1,0\n", 257)); }

  CheckResult Check(const std::string& text) {
    CheckResult result = CheckConfig(text, options_);
    for (const Finding& finding : result.findings) {
      EXPECT_EQ(tools::SeverityName(finding.severity), kSeverities.at(finding.name));
      EXPECT_THAT(finding.message, Not(IsEmpty()));
      EXPECT_THAT(finding.consequence, HasSubstr("the module"));
    }
    return result;
  }

  TemporaryFolder files_;
  simulator::DataFolder folder_{files_.path()};
  tools::CheckOptions options_;
};

// The names, without what nearly every configuration here has.
std::string Names(const CheckResult& result) {
  std::string names;
  for (const Finding& finding : result.findings) {
    if (finding.name == "uncovered-posture") continue;
    if (finding.name == "before-first-hinge-reading") continue;
    names += (names.empty() ? "" : " ") + finding.name;
  }
  return names;
}

const Finding& Only(const CheckResult& result, const std::string& name) {
  const auto is_it = [&name](const Finding& finding) { return finding.name == name; };
  EXPECT_EQ(std::count_if(result.findings.begin(), result.findings.end(), is_it), 1) << name;
  static const Finding none;
  const auto found = std::find_if(result.findings.begin(), result.findings.end(), is_it);
  return found == result.findings.end() ? none : *found;
}

// ---- The text -----------------------------------------------------------------------------------

// In the texts, $ stands for two good outputs and ^ for the place that the finding points at.
struct TextRow {
  const char* diagnostic;
  int case_number;  // -1: none
  const char* text;
  const char* names;
  const char* message;      // a part of it
  const char* consequence;  // a part of it
  const char* near_miss;
  const char* near_names = "";
};

const TextRow kTextRows[] = {
    {"malformed-item", 1, "HingeAngle:0,90|$ $|^HingeAngle 91,180 HingeAngle:0|$", "malformed-item",
     "\"HingeAngle\" is not one name and one value: it has no colon",
     "nothing behind this place is checked: cases 1 to 3 are lost; case 0 before it is read",
     ":HingeAngle::0,90:|$|| "},
    {"malformed-item", 0, "^HingeAngle:|$", "malformed-item no-cases", "it has no value",
     "case 0 is lost", "HingeAngle:0,90|$"},
    {"malformed-item", 0, "$|^:0,90", "malformed-item no-cases", "it has no name", "case 0 is lost",
     "$|:HingeAngle:0,90"},
    {"malformed-item", 0, "^a:b:c|d", "malformed-item no-cases", "it has 3 parts", "case 0 is lost",
     "HingeAngle:0,90|$"},
    {"malformed-item", 1, "HingeAngle:0,90|$ HingeAngle:91,180|^LeftChannel:a\nHingeAngle:0,9|$",
     "malformed-item stray-whitespace", "it has 3 parts", "case 1 is lost", "HingeAngle:0,90|$"},
    {"no-cases", -1, "^   ", "no-cases", "no case", "hands out nothing", "HingeAngle:0,90|$"},
    {"no-cases", -1, "^", "no-cases", "no case", "reports success", "|", "missing-output"},
    {"condition-count", 1,
     "HingeAngle:0,90|ScreenRotation:0|$ ^HingeAngle:91,180|$ HingeAngle:91,180|$",
     "condition-count cases-ignored", "case 1 has 1 condition, case 0 has 2",
     "refuses case 1; case 0 stays in force",
     "HingeAngle:0,90|ScreenRotation:0|$ HingeAngle:91,180|ScreenRotation:0|$"},
    {"condition-count", 1, "HingeAngle:0,90|$ HingeAngle:91,180|^leftChannel:a|RightChannel:b",
     "condition-count", "the nearest known name is LeftChannel", "", "HingeAngle:0,90|$"},
    {"missing-output", 0, "^HingeAngle:0,90", "missing-output", "no LeftChannel and RightChannel",
     "no case is in force", "HingeAngle:0,90|$"},
    {"missing-output", 0, "HingeAngle:0,90|LeftChannel:good.txt|^rightchannel:good.txt",
     "missing-output", "no RightChannel; \"rightchannel\" is taken for a condition", "",
     "HingeAngle:0,90|RightChannel:good.txt|LeftChannel:good.txt"},
    {"no-conditions", 0, "^$ HingeAngle:0,90|$", "no-conditions cases-ignored", "no condition",
     "no case is in force", "HingeAngle:0,90|$"},
    {"unknown-condition", 1, "HingeAngle:0,90|$ ^hingangle:91,180|$", "unknown-condition",
     "the nearest known name is HingeAngle", "refuses case 1", "HingeAngle:0,90|$"},
    {"unknown-condition", 0, "HingeAngle:0,90|$|^leftchannel:a", "unknown-condition",
     "the nearest known name is LeftChannel", "", "HingeAngle:0,90|$|LeftChannel:a",
     "repeated-name"},
    {"unknown-condition", 1, "HingeAngle:0,90|$\n |^x:1|$",
     "flat-response stray-whitespace unknown-condition", "\"x\"", "", "HingeAngle:0,90|$"},
    // What the log says of it fills two lines.
    {"unknown-condition", 0, "^x\nParseConfig:1|$|HingeAngle:0,90",
     "unknown-condition stray-whitespace", "\"x\\nParseConfig\"", "", "HingeAngle:0,90|$"},
    {"bad-value", 0, "HingeAngle:0,^90x|$", "bad-value", "\"90x\" is no integer", "refuses case 0",
     "HingeAngle:+0,0x5A|$"},
    {"bad-value", 0, "ScreenRotation:0,^9e1|$", "bad-value", "ScreenRotation value \"9e1\"", "",
     "ScreenRotation:0,090|$"},
    {"bad-value", 0, "HingeAngle:0,^90\r|$", "bad-value stray-whitespace",
     "it ends in a carriage return", "", "HingeAngle:0,\r90|$", "stray-whitespace"},
    {"bad-value", 0, "HingeAngle:^0.5,90|$", "bad-value", "a fraction", "", "HingeAngle:0,,90|$"},
    {"bad-value", 0, "ScreenRotation:^2147483648|$", "bad-value", "beyond the range", "",
     "ScreenRotation:0,0|$"},
    {"bad-range", 0, "HingeAngle:^90,0|$", "bad-range", "low end", "refuses case 0",
     "HingeAngle:89,90|$"},
    {"bad-range", 0, "HingeAngle:^90,90|$", "bad-range", "low end", "", "HingeAngle:0,1|$"},
    {"bad-range", 0, "HingeAngle:^0,181|$", "bad-range", "outside 0 to 180", "",
     "HingeAngle:0,180|$"},
    {"bad-range", 0, "HingeAngle:^-1,18|$", "bad-range", "outside 0 to 180", "",
     "HingeAngle:179,180|$"},
    {"bad-range", 0, "HingeAngle:^0,90,180|$", "bad-range", "3 values", "", "HingeAngle:0,90|$"},
    {"bad-range", 0, "HingeAngle:^,|$", "bad-range", "0 values", "", "HingeAngle:,0,90,|$"},
    {"bad-rotation", 0, "ScreenRotation:0,^45,91|$", "bad-rotation",
     "\"45\" is no rotation; there are 0, 90, 180 and 270", "", "ScreenRotation:270,180,90,0|$"},
    {"bad-rotation", 0, "ScreenRotation:^,|$", "bad-rotation", "no rotation", "",
     "ScreenRotation:,0|$"},
    {"cases-ignored", 2, "HingeAngle:0,90|$ HingeAngle:91|$ ^HingeAngle:91,180|$ $",
     "bad-range cases-ignored", "cases 2 and 3 are ignored",
     "stops at case 1; case 0 stays in force all the same", "HingeAngle:0,90|$ HingeAngle:91|$",
     "bad-range"},
    {"repeated-name", 0, "HingeAngle:0,90|$|^HingeAngle:7", "repeated-name",
     "\"HingeAngle\" stands twice in case 0", "keeps the first value, \"0,90\", and drops \"7\"",
     "HingeAngle:0,90|$ HingeAngle:91,180|$"},
    {"repeated-name", 1, "HingeAngle:0,90|$ HingeAngle:9|$|^LeftChannel:b",
     "bad-range repeated-name", "\"LeftChannel\"", "\"good.txt\"", "HingeAngle:0,90|$"},
    {"repeated-name", 0, "HingeAngle:0|$|^HingeAngle:90,0", "bad-range repeated-name",
     "\"HingeAngle\"", "drops \"90,0\"", "HingeAngle:0,90|$"},
    {"stray-whitespace", 0, "HingeAngle:0,^\t90|$", "stray-whitespace",
     "a tab stands in the value of \"HingeAngle\"", "only the space separates",
     "  HingeAngle:0,90|$  "},
    {"stray-whitespace", 0, "HingeAngle:0,90|LeftChannel:good.txt|RightChannel:good.txt^\r",
     "flat-response stray-whitespace", "a carriage return", "", "HingeAngle:0,90|$"},
    {"stray-whitespace", 0, "^\nHingeAngle:0,90|$", "stray-whitespace unknown-condition",
     "a line feed stands in the name \"\\nHingeAngle\"", "", "HingeAngle:0,90|$"},
    {"wider-than-declared", 1,
     "HingeAngle:0,90|ScreenRotation:0|$ HingeAngle:^90,180|ScreenRotation:90|$",
     "wider-than-declared",
     "case 1 declares hinge angle 90 to 180 at rotation 90 but matches hinge angle 0 to 180 at "
     "rotation 90",
     "90 lies in the earlier range of case 0",
     "HingeAngle:0,90|ScreenRotation:0|$ HingeAngle:91,180|ScreenRotation:90|$"},
    {"narrower-than-declared", 2, "HingeAngle:0,20|$ HingeAngle:160,180|$ HingeAngle:^10,170|$",
     "wider-than-declared narrower-than-declared alternating-cases alternating-cases",
     "declares hinge angle 10 to 170 but does not match hinge angle 21 to 159; it matches hinge "
     "angle 0 to 20 and 160 to 180",
     "10 lies in the earlier range of case 0 and 170 lies in the earlier range of case 1",
     "HingeAngle:0,20|$ HingeAngle:160,180|$ HingeAngle:21,159|$"},
    {"narrower-than-declared", 1, "HingeAngle:50,60|$ HingeAngle:^0,100|$",
     "narrower-than-declared", "does not match hinge angle 50 to 60",
     "an angle belongs to the first range that holds it, here that of case 0",
     "HingeAngle:0,100|$ HingeAngle:50,60|$", "wider-than-declared unreachable-case"},
    {"alternating-cases", 1,
     "ScreenRotation:0,90|$ ^ScreenRotation:90,180|$ ScreenRotation:90,270|$", "alternating-cases",
     "cases 0 and 1 both match rotation 90 whatever the hinge angle; case 2 too", "flips",
     "ScreenRotation:0,90|$ ScreenRotation:180|$"},
    {"alternating-cases", 1,
     "HingeAngle:0,90|ScreenRotation:0|$ ^ScreenRotation:0|HingeAngle:0,90|$", "alternating-cases",
     "cases 0 and 1", "the same in another order",
     "HingeAngle:0,90|ScreenRotation:0|$ HingeAngle:0,90|ScreenRotation:0|$", "unreachable-case"},
    {"unreachable-case", 2, "ScreenRotation:0|$ ScreenRotation:90|$ ^ScreenRotation:0,0|$",
     "unreachable-case", "case 2", "takes case 0 wherever case 2 matches",
     "ScreenRotation:0|$ ScreenRotation:90|$ ScreenRotation:0,180|$", "alternating-cases"},
};

std::string Expand(const std::string& text) {
  return Replace(text, "$", "LeftChannel:good.txt|RightChannel:good.txt");
}

TEST_F(CheckTest, Text) {
  for (const TextRow& row : kTextRows) {
    SCOPED_TRACE(row.text);
    std::string text = Expand(row.text);
    const size_t mark = text.find('^');
    text.erase(mark, 1);
    const CheckResult result = Check(text);
    EXPECT_EQ(Names(result), row.names);
    const Finding& finding = Only(result, row.diagnostic);
    EXPECT_EQ(finding.case_number ? static_cast<int>(*finding.case_number) : -1, row.case_number);
    EXPECT_EQ(finding.offset, mark);
    const std::string before = text.substr(0, mark);
    EXPECT_EQ(finding.line, 1 + std::count(before.begin(), before.end(), '\n'));
    EXPECT_EQ(finding.column, mark - (before.rfind('\n') + 1) + 1);
    EXPECT_THAT(finding.message, HasSubstr(row.message));
    EXPECT_THAT(finding.consequence, HasSubstr(row.consequence));

    SCOPED_TRACE(row.near_miss);
    EXPECT_EQ(Names(Check(Expand(row.near_miss))), row.near_names);
  }
}

TEST_F(CheckTest, UncoveredPostures) {
  const auto uncovered = [this](const std::string& text) {
    std::vector<std::string> found;
    for (const Finding& finding : Check(Expand(text)).findings) {
      if (finding.name == "uncovered-posture") {
        found.push_back(finding.message.substr(finding.message.find(": ") + 2));
      } else if (finding.name == "before-first-hinge-reading") {
        found.push_back(finding.message);
      }
    }
    return found;
  };
  const std::string early = "no case is taken before the first hinge reading";
  EXPECT_THAT(uncovered("HingeAngle:0,90|$"), ElementsAre("hinge angle 91 to 180", early));
  EXPECT_THAT(uncovered("HingeAngle:0,180|$"), ElementsAre(early));
  EXPECT_THAT(uncovered("HingeAngle:9|$"), ElementsAre("every posture"));
  EXPECT_THAT(uncovered("ScreenRotation:0|$"),
              ElementsAre("rotation 90, 180 and 270 whatever the hinge angle"));
  EXPECT_THAT(uncovered("ScreenRotation:0,90,180,270|$"), IsEmpty());
}

TEST_F(CheckTest, Cures) {
  const std::pair<const char*, const char*> rows[] = {
      // A space ends the case.
      {"HingeAngle:0, 90|$", "a space ends the case: write \"HingeAngle:0,90\""},
      {"HingeAngle:0 ,90|$", "a space ends the case: write \"HingeAngle:0,90\""},
      {"HingeAngle: 0,90|$", "a space ends the case: write \"HingeAngle:0,90\""},
      {"HingeAngle:0,90 $", "a space ends the case: write | before \"LeftChannel\""},
      {"HingeAngle:0,90|LeftChannel:my left.txt|RightChannel:b", "rename the file"},
      // Other separators.
      {"HingeAngle:0,90;$", "write \"HingeAngle:0,90|LeftChannel:good.txt\""},
      {"HingeAngle=0,90|$", "write \"HingeAngle:0,90\""},
      {"HingeAngle:0:90|$", "a comma separates values: write \"HingeAngle:0,90\""},
      {"HingeAngle:0;90|$", "a comma separates values: write 0,90"},
      {"HingeAngle:0-90|$", "a comma separates values: write 0,90"},
      // Numbers.
      {"HingeAngle:0,5,90,5|$", "is no decimal mark"},
      {"HingeAngle:0.5,90|$", "write whole degrees"},
      {"HingeAngle:90,0|$", "write 0,90"},
      {"HingeAngle:90|$", "write low and high, such as 0,90"},
      {"HingeAngle:0,270|$", "keep both ends in 0 to 180"},
      {"ScreenRotation:-90|$", "write 270"},
      {"ScreenRotation:45|$", "write one of these"},
      // Names and files.
      {"Hingeangle:0,90|$", "write HingeAngle"},
      {"HingeAngle:0,90|LeftChannel:good.txt|RightChanel:b", "write RightChannel"},
      {"HingeAngle:0,90|LeftChannel:good.txt", "such as RightChannel:file.txt"},
      {"Volume:11|$", "there are HingeAngle and ScreenRotation"},
      {"HingeAngle:0,90|LeftChannel:/vendor/etc/good.txt|RightChannel:good.txt",
       "names begin in /vendor/etc/: write good.txt"},
      {"HingeAngle:0,90|LeftChannel:/data/good.txt|RightChannel:good.txt", "no absolute path"},
      // Ranges: equal ones are one to the module.
      {"HingeAngle:0,130|ScreenRotation:0|$ HingeAngle:130,180|ScreenRotation:0|$ "
       "HingeAngle:130,180|ScreenRotation:90|$",
       "130 lies in the earlier range of case 0; begin it at 131"},
      {"HingeAngle:50,90|$ HingeAngle:0,50|$",
       "50 lies in the earlier range of case 0; end it at 49"},
      {"HingeAngle:0,90|$ HingeAngle:10,20|$", "let ranges neither overlap nor touch"},
  };
  for (const auto& [text, cure] : rows) {
    SCOPED_TRACE(text);
    std::string all;
    for (const Finding& finding : Check(Expand(text)).findings) all += finding.consequence + "\n";
    EXPECT_THAT(all, HasSubstr(cure));
    EXPECT_THAT(all, Not(HasSubstr("180 lies")));
  }
}

TEST_F(CheckTest, EveryRefusedConditionIsNamed) {
  const CheckResult result = Check(Expand("HingeAngle:0|ScreenRotation:1|Hinge:x|$"));
  EXPECT_EQ(Names(result), "bad-range bad-rotation unknown-condition");
}

// ---- Data files ---------------------------------------------------------------------------------

struct FileRow {
  const char* diagnostic;
  std::string content;
  size_t line;
  size_t column;
  const char* message;  // a part of it
  std::string near_miss;
};

std::string Flat(const std::string& first, const std::string& middle, const std::string& last) {
  return first + "\n" + Repeat("1,0\n", 127) + middle + "\n" + Repeat("1,0\n", 127) + last;
}
std::string First(const std::string& line) { return Flat(line, "1,0", "1,0"); }
std::string Middle(const std::string& line) { return Flat("1,0", line, "1,0"); }
std::string Last(const std::string& line) { return Flat("1,0", "1,0", line); }

const FileRow kFileRows[] = {
    {"flat-response", First("1,0\r"), 1, 3, "\"0\\r\" ends in a carriage return", First("1,\r0")},
    {"flat-response", Middle("1 ,0"), 129, 1, "the real part \"1 \" ends in a blank",
     Middle(" 1, 0")},
    {"flat-response", Last("1,0\t"), 257, 3, "ends in a tab", Last("\t1,0")},
    {"flat-response", Middle("1,0,0"), 129, 1, "3 fields instead of 2", Middle("1,,0,")},
    {"flat-response", Middle("1.0"), 129, 1, "1 field instead of 2", Middle(",1.0,0")},
    {"flat-response", Middle(","), 129, 1, "0 fields instead of 2", Middle("\n1,0\n")},
    {"flat-response", Middle("\r"), 129, 1, "nothing but a carriage return", Middle("1,0")},
    {"flat-response", Middle("1e39,0"), 129, 1, "range: too large", Middle("1e-3,0")},
    {"flat-response", Middle("1,1e999"), 129, 3, "range: too large", Middle("1,0x1p0")},
    {"flat-response", Middle("1,-1e-40"), 129, 3, "range: too small", Middle("1,-1e-37")},
    {"flat-response", Middle("1,1e-999"), 129, 3, "range: too small", Middle("1,0e-999")},
    {"flat-response", Middle("real,0"), 129, 1, "is not a number", Middle("1,0")},
    {"flat-response", Middle("1,0.5j"), 129, 3, "not a number from \"j\" on", Middle("1,0.5")},
    {"flat-response", Middle("-inf,0"), 129, 1, "is infinite", Middle("-1,0")},
    {"flat-response",
     First("\xef\xbb\xbf"
           "1,0"),
     1, 1, "a byte order mark", First("1,0")},
    // Empty lines are no bins.
    {"flat-response", "\n\n" + Middle("1;0"), 131, 1, "1 field", "\n\n" + Middle("1,0")},
    {"flat-response",
     First(std::string("\0"
                       "1,0",
                       4)),
     1, 1, "a null character", First("1,0")},
    {"null-character", Middle(std::string("1\0.5,0", 7)), 129, 2, "stands in bin 128",
     Middle("1,0")},
    {"empty-response", "", 0, 0, "no data", Middle("1,0")},
    {"empty-response", "\n\n", 0, 0, "no data", Middle("1,0")},
    {"bin-count", Repeat("1,0\n", 256), 0, 0, "256 bins instead of 257", Middle("1,0")},
    {"bin-count", Repeat("1,0\n", 258), 258, 1, "258 bins instead of 257", Middle("1,0")},
    {"not-finite", Flat("1,0", "1,nan", "nan,0"), 129, 3,
     "bin 128 holds a NaN, the first of 2 bins", Middle("1,1")},
    {"not-finite", First("1,nan"), 1, 3, "bin 0 holds a NaN", First("1,0")},
    {"complex-edge-bin", First("1,1e-9"), 1, 3, "1e-09 in bin 0", First("1,-0")},
    {"complex-edge-bin", Flat("1,2", "1,0", "1,3"), 1, 3, "2 in bin 0 and 3 in bin 256",
     Middle("1,1")},
    {"complex-edge-bin", Last("1,-1"), 257, 3, "-1 in bin 256", Repeat("1,0\n", 255) + "1,1\n1,0"},
    // +12 dB is a factor of 3.98107.
    {"high-gain", Middle("-3.99,0"), 129, 1,
     "bin 128 has a gain of +12.02 dB, above the limit of +12 dB", Middle("0,3.9810717")},
    {"high-gain", Flat("4,0", "3,-4", "4,0"), 129, 1, "+13.98 dB, the highest of 3 bins",
     Flat("nan,0", "2,-3", "0,0")},
};

TEST_F(CheckTest, DataFiles) {
  const std::string text =
      Expand("ScreenRotation:0,90,180,270|LeftChannel:good.txt|RightChannel:sub/f");
  options_.data_root = "somewhere";
  for (const FileRow& row : kFileRows) {
    SCOPED_TRACE(std::string(row.diagnostic) + ", " + row.message);
    files_.Write("sub/f", row.content);
    const CheckResult result = Check(text);
    EXPECT_EQ(Names(result), row.diagnostic);
    EXPECT_EQ(result.file_count, 2U);
    const Finding& finding = Only(result, row.diagnostic);
    EXPECT_EQ(finding.file, "somewhere/sub/f");
    EXPECT_EQ(finding.line, row.line);
    EXPECT_EQ(finding.column, row.column);
    EXPECT_THAT(finding.message,
                AllOf(HasSubstr(row.message), HasSubstr("right channel of case 0")));

    files_.Write("sub/f", row.near_miss);
    EXPECT_THAT(Names(Check(text)), Not(HasSubstr(row.diagnostic)));
  }
}

TEST_F(CheckTest, FilesThatCannotBeOpened) {
  std::filesystem::create_directory(files_.path("folder"));
  std::filesystem::create_symlink("good.txt", files_.path("link.txt"));
  options_.data_root = "root/";
  const std::pair<const char*, const char*> rows[] = {
      {"absent.txt", "there is no file root/absent.txt"},
      {"folder", "root/folder is a folder"},
      {"link.txt", "root/link.txt is a symbolic link"},
      {"good.txt/x", "root/good.txt/x cannot be read: Not a directory"},
      {"sub/../../good.txt", "there is no file /vendor/etc/sub/../../good.txt"},
  };
  for (const auto& [name, message] : rows) {
    const std::string text = "HingeAngle:0,90|LeftChannel:good.txt|RightChannel:";
    const CheckResult result = Check(text + name);
    EXPECT_EQ(Names(result), "flat-response");
    const Finding& finding = Only(result, "flat-response");
    EXPECT_THAT(finding.message, HasSubstr(message));
    EXPECT_EQ(finding.file, "configuration");
    EXPECT_EQ(finding.offset, text.size());
  }
}

TEST_F(CheckTest, FilesWithoutAnEnd) {
  options_.data_root = files_.path();
  mkfifo(files_.path("fifo").c_str(), 0600);
  files_.Write("large", "");
  std::filesystem::resize_file(files_.path("large"), uint64_t{1} << 40);
  const std::string text = "HingeAngle:0,90|LeftChannel:good.txt|RightChannel:";
  EXPECT_THAT(Only(Check(text + "fifo"), "endless-file").message, HasSubstr("fifo is a pipe"));
  EXPECT_THAT(Only(Check(text + "large"), "endless-file").message,
              HasSubstr("large is 1048576 MiB long"));
  // A symbolic link, the module does not follow.
  std::filesystem::create_symlink("fifo", files_.path("link"));
  EXPECT_EQ(Names(Check(text + "link")), "flat-response");
}

TEST_F(CheckTest, OneFindingForAFileOfManyCases) {
  files_.Write("short.txt", "1,0\n");
  const CheckResult result = Check(
      "HingeAngle:0,9|LeftChannel:good.txt|RightChannel:short.txt "
      "HingeAngle:10,19|LeftChannel:short.txt|RightChannel:short.txt "
      "HingeAngle:20,29|LeftChannel:good.txt|RightChannel:short.txt|LeftChannel:dropped.txt "
      "HingeAngle:30|LeftChannel:short.txt|RightChannel:not-in-force.txt");
  EXPECT_EQ(Names(result), "bin-count repeated-name bad-range");
  EXPECT_THAT(Only(result, "bin-count").message,
              HasSubstr("(left channel of case 1 and right channel of cases 0 to 2)"));
  EXPECT_EQ(Only(result, "bin-count").case_number, 0U);
  EXPECT_EQ(result.file_count, 2U);
  EXPECT_EQ(result.case_count, 4U);
  EXPECT_EQ(result.cases_in_force, 3U);
}

TEST_F(CheckTest, GainLimit) {
  files_.Write("f", Middle("2,0"));
  const std::string text = "HingeAngle:0,90|LeftChannel:f|RightChannel:f";
  EXPECT_EQ(Names(Check(text)), "");
  options_.max_gain_db = 6.0;
  EXPECT_EQ(Names(Check(text)), "high-gain");
  options_.max_gain_db = -0.5;
  EXPECT_THAT(Only(Check(text), "high-gain").message, HasSubstr("the highest of 257 bins"));
}

}  // namespace
}  // namespace brelmo::tavi::test
