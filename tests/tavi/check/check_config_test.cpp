// Each diagnostic of a configuration's text: what raises it, where it points, and what just does
// not.
#include "check/check_config.h"

#include <algorithm>

#include "check_fixture.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using tools::CheckResult;
using tools::Finding;

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

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
      {"HingeAngle:0,90 | $", "write | without one on either side"},
      {"HingeAngle:0,90 $", "a space ends the case: write | before \"LeftChannel\""},
      {"HingeAngle:0,90|LeftChannel:my left.txt|RightChannel:b", "rename the file"},
      // Other separators.
      {"HingeAngle:0,90,$", "write \"HingeAngle:0,90|LeftChannel:good.txt\""},
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

}  // namespace
}  // namespace brelmo::tavi::test
