// tavi check as a command: its output and its exit code.
#include <sys/wait.h>

#include <cstdio>

#include <fstream>
#include <sstream>

#include <gmock/gmock.h>
#include <nlohmann/json.hpp>

#include "process/scratch_folder.h"

namespace brelmo::tavi::test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

struct CheckOutcome {
  int exit_code = -1;
  std::string output;  // standard output
};

std::string ShellQuote(const std::string& text) {
  std::string quoted = "'";
  for (const char c : text) quoted += c == '\'' ? "'\\''" : std::string(1, c);
  return quoted + "'";
}

CheckOutcome RunCommand(const std::string& command) {
  CheckOutcome outcome;
  std::FILE* const pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return outcome;
  char buffer[4096];
  for (size_t size = 0; (size = std::fread(buffer, 1, sizeof(buffer), pipe)) > 0;) {
    outcome.output.append(buffer, size);
  }
  const int status = pclose(pipe);
  if (WIFEXITED(status)) outcome.exit_code = WEXITSTATUS(status);
  return outcome;
}

CheckOutcome Check(const std::string& arguments, const std::string& folder = ".") {
  return RunCommand("cd " + ShellQuote(folder) + " && " + ShellQuote(TAVI_COMMAND_FILE) +
                    " check " + arguments + " 2>/dev/null");
}

std::string FileContent(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream content;
  content << file.rdbuf();
  return content.str();
}

const std::string kCleanConfig =
    "--config-text 'ScreenRotation:0,90,180,270|LeftChannel:left.txt|RightChannel:right.txt' "
    "--data-root clean";

class CheckCommandTest : public testing::Test {
 protected:
  CheckCommandTest() {
    std::string flat;
    for (int i = 0; i < 257; ++i) flat += "1,0\n";
    for (const char* name : {"etc/good.txt", "clean/left.txt", "clean/right.txt"}) {
      files_.Write(name, flat);
    }
    files_.Write("etc/short.txt", "1,0\n");
  }
  // A case for every posture that plays `file`.
  CheckOutcome CheckFile(const std::string& file, const std::string& options) {
    return Check("--data-root etc --config-text 'ScreenRotation:0,90,180,270|LeftChannel:" + file +
                     "|RightChannel:good.txt' " + options,
                 files_.path());
  }

  tools::ScratchFolder files_;
};

TEST_F(CheckCommandTest, ManyFaultsAtOnce) {
  const std::string folder = TAVI_TEN_FAULTS_FOLDER;
  const CheckOutcome outcome = Check("--config device.conf --data-root etc", folder);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_EQ(outcome.output, FileContent(folder + "/expected.txt"));
}

TEST_F(CheckCommandTest, ExitCodes) {
  EXPECT_EQ(CheckFile("good.txt", "").exit_code, 0);
  EXPECT_EQ(CheckFile("good.txt", "--strict").exit_code, 0);
  EXPECT_EQ(CheckFile("short.txt", "").exit_code, 0);
  EXPECT_EQ(CheckFile("short.txt", "--strict").exit_code, 1);
  EXPECT_EQ(CheckFile("short.txt", "--strict --format json").exit_code, 1);
  EXPECT_EQ(CheckFile("absent.txt", "").exit_code, 1);
  EXPECT_EQ(CheckFile("good.txt", "--max-gain -1").exit_code, 0);
  EXPECT_EQ(CheckFile("good.txt", "--max-gain -1 --strict").exit_code, 1);
  for (const char* const arguments :
       {"", "--config absent.conf", "--config-text a --config b", "--config-text a --data-root x",
        "--config-text a --data-root ''", "--config-text a --format xml",
        "--config-text a --max-gain loud", "--config-text a --max-gain nan",
        "--config-text a --max-gain 1001", "--config-text a >/dev/full",
        "--config-text a --format json >/dev/full"}) {
    const CheckOutcome outcome = Check(arguments, files_.path());
    EXPECT_EQ(outcome.exit_code, 2) << arguments;
    EXPECT_THAT(outcome.output, IsEmpty()) << arguments;
  }
}

TEST_F(CheckCommandTest, ACleanRunHasTwoLines) {
  EXPECT_EQ(Check(kCleanConfig, files_.path()).output,
            "configuration: looked at 1 case, 728 postures and 2 data files\n"
            "0 errors, 0 warnings, 0 notes\n");
}

TEST_F(CheckCommandTest, NamesThatLeaveTheDataFolder) {
  EXPECT_EQ(CheckFile("../etc/good.txt", "").exit_code, 0);
  EXPECT_EQ(CheckFile("x/../../etc/./good.txt", "").exit_code, 0);
  files_.Write("good.txt", "1,0\n");
  EXPECT_THAT(CheckFile("../good.txt", "").output, HasSubstr("no file /vendor/etc/../good.txt"));
}

TEST_F(CheckCommandTest, LinesFitTheTerminal) {
  const std::string text(200, 'x');
  const CheckOutcome outcome =
      RunCommand("script -qc \"stty cols 50; " + ShellQuote(TAVI_COMMAND_FILE) +
                 " check --config-text '" + text + "|a:b'\" /dev/null");
  EXPECT_THAT(outcome.output, HasSubstr("    " + std::string(44, 'x') + "…\r\n"));
}

TEST_F(CheckCommandTest, LinesOfAWindowsFile) {
  files_.Write("device.conf",
               "ScreenRotation:0,90,180,270|LeftChannel:good.txt|RightChannel:good.txt\r\n");
  EXPECT_THAT(Check("--config device.conf --data-root etc", files_.path()).output,
              HasSubstr("device.conf:1:71: warning: a carriage return stands in the value of "
                        "\"RightChannel\" [stray-whitespace]\n"));
}

TEST_F(CheckCommandTest, ReadsTheDevicesFolderByDefault) {
  const CheckOutcome outcome =
      Check("--config-text 'HingeAngle:0,90|LeftChannel:tavi_x.txt|RightChannel:tavi_x.txt'");
  EXPECT_THAT(outcome.output,
              StartsWith("configuration:1:29: error: there is no file /vendor/etc/tavi_x.txt"));
}

TEST_F(CheckCommandTest, Json) {
  files_.Write("device.conf",
               "HingeAngle:0,90|LeftChannel:sh\xff\x01\".txt|RightChannel:short.txt \xc3\x28");
  files_.Write("etc/sh\xff\x01\".txt", "nan\n");
  const CheckOutcome outcome =
      Check("--config device.conf --data-root etc --format json", files_.path());
  EXPECT_EQ(outcome.exit_code, 1);
  const auto findings = nlohmann::ordered_json::parse(outcome.output);
  std::vector<std::string> texts;
  for (const auto& finding : findings) {
    std::vector<std::string> keys;
    for (const auto& [key, value] : finding.items()) keys.push_back(key);
    EXPECT_THAT(keys, testing::ElementsAre("name", "severity", "case", "column", "file", "line",
                                           "message", "consequence"));
    auto place = finding;
    place.erase("message");
    place.erase("consequence");
    texts.push_back(place.dump());
  }
  EXPECT_THAT(
      texts,
      testing::ElementsAre(
          "{\"name\":\"flat-response\",\"severity\":\"error\",\"case\":0,\"column\":1,\"file\":"
          "\"etc/sh\xef\xbf\xbd\\u0001\\\".txt\",\"line\":1}",
          R"({"name":"bin-count","severity":"warning","case":0,"column":null,"file":"etc/short.txt","line":null})",
          R"({"name":"malformed-item","severity":"error","case":1,"column":62,"file":"device.conf","line":1})",
          R"({"name":"uncovered-posture","severity":"warning","case":null,"column":null,"file":"device.conf","line":null})",
          R"({"name":"before-first-hinge-reading","severity":"note","case":null,"column":null,"file":"device.conf","line":null})",
          R"({"name":"unused-file","severity":"note","case":null,"column":null,"file":"etc","line":null})"));
  EXPECT_EQ(Check(kCleanConfig + " --format json", files_.path()).output, "[]\n");
}

}  // namespace
}  // namespace brelmo::tavi::test
