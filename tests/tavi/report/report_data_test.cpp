#include "report/report_data.h"

#include <cmath>

#include <gmock/gmock.h>

#include "data_folder.h"
#include "log_recorder.h"
#include "process/scratch_folder.h"
#include "report/report_page.h"

namespace brelmo::tavi::tools {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using Json = nlohmann::ordered_json;

// Lists of ordered objects, for comparison.
Json List(const std::string& text) { return Json::parse(text); }

class ReportDataTest : public testing::Test {
 protected:
  // Logs nothing, whatever the configuration.
  Json Report(const std::string& text, const ReportOptions& options = {}) {
    const simulator::DataFolder data_folder(folder_.path());
    test::LogRecorder log;
    Json report = MakeReportData(text, options);
    EXPECT_THAT(log.Take(), IsEmpty());
    return report;
  }

  static std::string Case(const std::string& conditions, const std::string& left = "a.txt",
                          const std::string& right = "b.txt") {
    return conditions + "|LeftChannel:" + left + "|RightChannel:" + right;
  }

  tools::ScratchFolder folder_;
};

TEST_F(ReportDataTest, OutputsAsTheDspWouldReceiveThem) {
  folder_.Write("good.txt", "1,0\n0,-2\n0,0\n");
  folder_.Write("bad.txt", "1,0\n2\n");
  folder_.Write("empty.txt", "\n");
  folder_.Write("nan.txt", "1,0\nnan,0\n");
  folder_.Write("unity.txt", "1,0\n");
  const Json report = Report(Case("ScreenRotation:0", "good.txt", "bad.txt") + " " +
                             Case("ScreenRotation:90", "empty.txt", "nan.txt") + " " +
                             Case("ScreenRotation:180", "missing.txt", "empty.txt") + " " +
                             Case("ScreenRotation:270", "empty.txt", "empty.txt"));
  // Left before right, whatever the order in which they would be sent.
  EXPECT_EQ(report["cases"][0]["outputs"], List(R"([
    {"channel": "left", "file": "good.txt", "state": "file", "response": 0,
     "message": {"type": 16, "bins": 3, "bytes": 32}},
    {"channel": "right", "file": "bad.txt", "state": "flat", "response": 1,
     "message": {"type": 17, "bins": 257, "bytes": 2064}}])"));
  EXPECT_EQ(report["cases"][0]["bytes"], 2096);
  EXPECT_EQ(report["cases"][1]["outputs"], List(R"([
    {"channel": "left", "file": "empty.txt", "state": "empty", "response": null, "message": null},
    {"channel": "right", "file": "nan.txt", "state": "not-finite", "response": 2,
     "message": {"type": 17, "bins": 2, "bytes": 24}}])"));
  EXPECT_EQ(report["cases"][2]["outputs"][0]["response"], 1) << "flat as in case 0";
  EXPECT_EQ(report["cases"][2]["bytes"], 2064);
  EXPECT_EQ(report["cases"][3]["bytes"], 0);
  EXPECT_EQ(report["module"]["status_message"], List(R"({"type": 0, "bytes": 12})"));

  ASSERT_THAT(report["responses"], SizeIs(3));
  EXPECT_EQ(report["responses"][0], List(R"({"real": [1.0, 0.0, 0.0], "imaginary": [0.0, -2.0, 0.0],
    "magnitude_db": [0.0, 6.0206, null], "phase_degrees": [0.0, -90.0, null], "time": null})"));
  EXPECT_EQ(report["responses"][2]["real"], List("[1.0, null]"));
  EXPECT_EQ(report["responses"][2]["magnitude_db"], List("[0.0, null]"));
}

TEST_F(ReportDataTest, EqualResponsesStandOnce) {
  folder_.Write("a.txt", "0.1,0\nnan,-0\n");
  folder_.Write("b.txt", "1e-1,0\nnan,-0.0\n");
  folder_.Write("c.txt", "0.1,0\nnan,0\n");  // another zero, which the DSP is sent as it is
  const Json report =
      Report(Case("ScreenRotation:0") + " " + Case("ScreenRotation:90", "b.txt", "c.txt"));
  EXPECT_THAT(report["responses"], SizeIs(2));
  EXPECT_EQ(report["cases"][0]["outputs"][0]["response"],
            report["cases"][1]["outputs"][0]["response"]);
  EXPECT_NE(report["cases"][1]["outputs"][0]["response"],
            report["cases"][1]["outputs"][1]["response"]);
  EXPECT_THAT(DumpReportData(report), HasSubstr("[0.1,")) << "a float, as short as can be";
}

TEST_F(ReportDataTest, FrequenciesOfAllBinsThereAreAtTheRate) {
  folder_.Write("a.txt", "1,0\n1,0\n1,0\n");
  folder_.Write("b.txt", "1,0\n");
  ReportOptions options;
  options.check.filter.rate = 16000;
  const Json report = Report(Case("ScreenRotation:0"), options);
  EXPECT_EQ(report["rate_hz"], 16000.0);
  EXPECT_EQ(report["frequency_hz"], List("[0.0, 31.25, 62.5]"));
}

TEST_F(ReportDataTest, PosturesInRuns) {
  folder_.Write("a.txt", "1,0\n");
  folder_.Write("b.txt", "1,0\n");
  // Case 1 begins inside case 0's range, so it matches all of it; case 2 needs no reading.
  const Json report = Report(Case("HingeAngle:0,90") + " " + Case("HingeAngle:80,100") + " " +
                             Case("ScreenRotation:270"));
  Json runs = Json::array();
  for (const Json& run : report["postures"]) {
    if (run["rotation"] == 0 || run["rotation"] == 270) runs.push_back(run);
  }
  EXPECT_EQ(runs, List(R"([
    {"rotation": 0, "from": null, "to": null, "taken": null, "alternate": null, "matching": []},
    {"rotation": 0, "from": 0, "to": 90, "taken": 0, "alternate": 1, "matching": [0, 1]},
    {"rotation": 0, "from": 91, "to": 100, "taken": 1, "alternate": null, "matching": [1]},
    {"rotation": 0, "from": 101, "to": 180, "taken": null, "alternate": null, "matching": []},
    {"rotation": 270, "from": null, "to": null, "taken": 2, "alternate": null, "matching": [2]},
    {"rotation": 270, "from": 0, "to": 90, "taken": 0, "alternate": 1, "matching": [0, 1, 2]},
    {"rotation": 270, "from": 91, "to": 100, "taken": 1, "alternate": 2, "matching": [1, 2]},
    {"rotation": 270, "from": 101, "to": 180, "taken": 2, "alternate": null, "matching": [2]}])"));
  EXPECT_EQ(report["cases"][1]["keys"], List(R"(["Name : HingeAngle, Supported Index: {0 1 }"])"));
}

TEST_F(ReportDataTest, AgainstAnOlderConfiguration) {
  folder_.Write("a.txt", "1,0\n0,-2\n");
  folder_.Write("b.txt", "0.5,0\n0,0.25\n");
  folder_.Write("old/etc/a.txt", "1,0\n0,-2\n");
  folder_.Write("old/etc/b.txt", "0.5,0\n0.25,0\n");
  // The middle case begins later now, the last one is gone, and of the pair the right file is
  // another.
  folder_.Write("old/device.conf", Case("HingeAngle:0,44") + " " +
                                       Case("HingeAngle:45,134", "b.txt") + " " +
                                       Case("HingeAngle:135,180", "a.txt", "no.txt") + "\n");
  const std::string text = Case("HingeAngle:51,134", "b.txt") + " " + Case("HingeAngle:0,50");
  ReportOptions options;
  options.against = ReadAgainst({folder_.path("old"), ""}, text, folder_.path(), 48000.0);
  const Json report = Report(text, options);
  const Json& against = report["against"];
  EXPECT_EQ(
      against["summary"],
      "another case is taken in 208 of 728 postures, something else is sent in 724; 4 channels "
      "differ");
  EXPECT_EQ(against["counts"]["other_case"], 4 * (6 + 46));
  Json runs = Json::array();
  for (const Json& run : report["postures"]) {
    if (run["rotation"] == 90) runs.push_back({run["from"], run["taken"], run["old"]});
  }
  EXPECT_EQ(runs, List(R"([
    [null, null, {"taken": null, "alternate": null, "other_case": false, "other_sound": false}],
    [0, 1, {"taken": 0, "alternate": null, "other_case": false, "other_sound": true}],
    [45, 1, {"taken": 1, "alternate": null, "other_case": true, "other_sound": true}],
    [51, 0, {"taken": 1, "alternate": null, "other_case": false, "other_sound": true}],
    [135, null, {"taken": 2, "alternate": null, "other_case": true, "other_sound": true}]])"));
  const auto magnitude = [&report](const Json& cases, size_t number, size_t channel) {
    return report["responses"][size_t{cases[number]["outputs"][channel]["response"]}]["real"];
  };
  EXPECT_EQ(magnitude(against["cases"], 0, 1), List("[0.5, 0.25]"));
  EXPECT_EQ(magnitude(report["cases"], 1, 1), List("[0.5, 0.0]"));
  EXPECT_EQ(against["cases"][2]["outputs"][1]["state"], "flat");
  Json pairs = Json::array();
  for (const Json& pair : against["pairs"]) {
    pairs.push_back(
        {pair["new_case"], pair["old_case"], pair["is_same_case"], pair["left"]["same"]});
  }
  EXPECT_EQ(pairs, List("[[0, 1, true, false], [1, 0, true, true], [1, 1, false, false]]"));
}

TEST_F(ReportDataTest, CasesThatAreNotInForce) {
  folder_.Write("a.txt", "1,0\n");
  folder_.Write("b.txt", "1,0\n");
  const std::string good = Case("HingeAngle:0,90");
  struct {
    const char* what;
    std::string text;
    size_t cases, in_force;
    bool valid, context;
  } const kConfigurations[] = {
      {"good", good, 1, 1, true, true},
      {"refused", good + " " + Case("Hinge:0,1") + " " + good, 3, 1, false, true},
      {"first refused", "HingeAngle:0,90", 1, 0, false, true},
      {"not read on", good + " junk " + good, 3, 1, true, true},
      {"not read at all", "junk " + good, 2, 0, false, false},
      {"blank", "  ", 0, 0, false, false},
  };
  for (const auto& each : kConfigurations) {
    SCOPED_TRACE(each.what);
    const Json report = Report(each.text);
    EXPECT_THAT(report["cases"], SizeIs(each.cases));
    EXPECT_EQ(report["module"]["cases_in_force"], each.in_force);
    EXPECT_EQ(report["module"]["valid"], each.valid);
    EXPECT_EQ(report["module"]["context"], each.context);
    for (const Json& one : report["cases"]) {
      const bool is_in_force = one["number"].get<size_t>() < each.in_force;
      EXPECT_EQ(one["is_in_force"], is_in_force);
      EXPECT_EQ(one["outputs"].size(), is_in_force ? 2 : 0);
    }
    size_t findings = 0;
    for (const auto& count : report["counts"].items()) findings += count.value().get<size_t>();
    EXPECT_EQ(findings, report["findings"].size());
  }
  const Json refused = Report(good + " " + Case("Hinge:0,1"))["cases"][1];
  EXPECT_EQ(refused["text"], Case("Hinge:0,1"));
  EXPECT_EQ(refused["conditions"], List(R"({"Hinge": "0,1"})"));
}

TEST_F(ReportDataTest, FindingsAreThoseOfTheCheck) {
  folder_.Write("a.txt", "1,0\n9,0\n");
  folder_.Write("b.txt", "1,0\n");
  ReportOptions options;
  options.check.max_gain_db = 20;
  options.check.config_name = "device.conf";
  const std::string text = Case("HingeAngle:90,0");
  const simulator::DataFolder data_folder(folder_.path());
  const CheckResult checked = CheckConfig(text, options.check);
  const Json report = MakeReportData(text, options);
  ASSERT_FALSE(checked.findings.empty());
  ASSERT_EQ(report["findings"].size(), checked.findings.size());
  for (size_t i = 0; i < checked.findings.size(); ++i) {
    const Finding& finding = checked.findings[i];
    const Json& reported = report["findings"][i];
    EXPECT_EQ(reported["name"], finding.name);
    EXPECT_EQ(reported["severity"], SeverityName(finding.severity));
    EXPECT_EQ(reported["message"], finding.message);
    EXPECT_EQ(reported["consequence"], finding.consequence);
    EXPECT_EQ(reported["case"].is_null(), !finding.case_number.has_value());
    EXPECT_EQ(reported["column"].is_null(), finding.column == 0);
    EXPECT_EQ(reported["excerpt"].is_null(), finding.column == 0);
  }
}

TEST_F(ReportDataTest, HostileTextStaysData) {
  const std::string hostile = "</script><script>alert(1)</script><!--@@data@@\xff\x80\x1b.txt";
  const Json report = Report(Case("ScreenRotation:0", hostile, "\xc3\x28.txt"));
  const std::string json = DumpReportData(report);
  EXPECT_EQ(Json::parse(json)["cases"][0]["outputs"][0]["file"],
            "</script><script>alert(1)</script><!--@@data@@\xef\xbf\xbd\xef\xbf\xbd\x1b.txt");

  const std::string page = MakeReportPage(json);
  EXPECT_THAT(page, Not(HasSubstr("<script>alert")));
  EXPECT_THAT(page, HasSubstr("\\u003c/script>\\u003cscript>alert(1)"));
  // The page's own scripts and no others: the data, the library, and what shows the data.
  size_t scripts = 0;
  for (size_t at = page.find("</script"); at != std::string::npos;
       at = page.find("</script", at + 1)) {
    ++scripts;
  }
  EXPECT_EQ(scripts, 3);
}

TEST_F(ReportDataTest, ThePageKeepsTheLicenceOfTheChartingLibrary) {
  const std::string page = MakeReportPage(DumpReportData(Report("")));
  EXPECT_THAT(page, HasSubstr("Permission is hereby granted, free of charge"));
  EXPECT_THAT(page, HasSubstr("Chart.js Contributors"));
  EXPECT_THAT(page, Not(HasSubstr("@@"))) << "a part of the page was not put in";
}

}  // namespace
}  // namespace brelmo::tavi::tools
