// Each diagnostic of a data file: what raises it, where it points, and what just does not.
#include "check/data_file_check.h"

#include <sys/stat.h>

#include "check_fixture.h"

namespace brelmo::tavi::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;
using tools::CheckResult;
using tools::Finding;

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
    {"flat-response", First(std::string(1, '\0') + "1,0"), 1, 1, "a null character", First("1,0")},
    {"null-character", Middle(std::string("1\0.5,0", 6)), 129, 2, "stands in bin 128",
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
  const std::string text = "ScreenRotation:0,90,180,270|LeftChannel:good.txt|RightChannel:sub/f";
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
