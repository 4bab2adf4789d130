// What the module makes of a data file.
#include <cmath>
#include <cstring>

#include <filesystem>
#include <limits>

#include "console/wording.h"
#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

using Response = std::vector<float>;

struct DataRow {
  const char* name;
  const char* holds;
  std::string file_name;
  std::optional<std::string> content;  // empty: no such file
  std::optional<Response> response;    // empty: the file is refused
  std::string error;
};

constexpr const char* kFile = "d.txt";
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
constexpr float kLargest = std::numeric_limits<float>::max();

// Equal bins, as a file and as a response.
std::string EqualLines(size_t count) {
  std::string text;
  for (size_t i = 0; i < count; ++i) text += "0.5,-0.5\n";
  return text;
}
Response EqualBins(size_t count) {
  Response response;
  for (size_t i = 0; i < count; ++i) response.insert(response.end(), {0.5F, -0.5F});
  return response;
}

DataRow Bad(const char* name, const char* holds, const std::string& content,
            const std::string& error) {
  return {name, holds, kFile, content, std::nullopt, error};
}

const std::vector<DataRow>& DataRows() {
  static const std::string long_number = "1." + std::string(100000, '0');
  static const std::vector<DataRow> rows = {
      {"data.numbers",
       "A line is a bin: a real and an imaginary part; the last line feed may lack.", kFile,
       "1.0,0.0\n0.98,-0.015\n1.2e-1, 3.5E-2", Response{1, 0, 0.98F, -0.015F, 0.12F, 0.035F}, ""},
      {"data.number-forms", "Numbers are what strtof takes.", kFile,
       "0x1p-2,-0X.8\n+.5,5.\n-0,\t 1e-30\n3.4028234e38,-3.4028234e38\n",
       Response{0.25F, -0.5F, 0.5F, 5, -0.0F, 1e-30F, kLargest, -kLargest}, ""},
      {"data.257-bins", "The usual number of bins is read.", kFile, EqualLines(257), EqualBins(257),
       ""},
      {"data.many-bins", "Any number of bins is read.", kFile, EqualLines(10000), EqualBins(10000),
       ""},
      {"data.empty-fields", "Empty fields and empty lines are nothing.", kFile,
       "\n\n,1,,2,,\n\n3,,4\n", Response{1, 2, 3, 4}, ""},
      {"data.empty-file", "An empty file is good, and has no data.", kFile, "", Response{}, ""},
      {"data.line-feeds", "So is one of line feeds alone.", kFile, "\n\n\n", Response{}, ""},
      {"data.not-a-number", "A NaN is read as one.", kFile, "nan,-NAN\n0,nan\nnan,0\n",
       Response{kNan, kNan, 0, kNan, kNan, 0}, ""},
      {"data.folder", "A name may lead into a folder.", "folder/file.txt", "1,2\n", Response{1, 2},
       ""},
      {"data.dots", "And out of it again.", "folder/../d.txt", "1,2\n", Response{1, 2}, ""},
      {"data.missing", "A file that is missing makes its channel flat.", "none.txt", std::nullopt,
       std::nullopt, "read failed"},
      {"data.line-feed-in-name", "A file's name is taken as it stands.", "l.txt\n", std::nullopt,
       std::nullopt, "read failed"},
      {"data.symbolic-link", "A symbolic link is not followed.", "link.txt", std::nullopt,
       std::nullopt, "read failed"},
      {"data.directory", "A folder is no file.", "other", std::nullopt, std::nullopt,
       "read failed"},
      Bad("data.carriage-returns", "A carriage return behind a number makes the file unusable.",
          "1,0\r\n1,0\r\n", "invalid data: real=1, imaginary=0\r"),
      Bad("data.blank-behind", "So does a blank, in any line.", "1,0\n1 ,0\n",
          "invalid data: real=1 , imaginary=0"),
      Bad("data.text", "So does text.", "1,0\none,0\n", "invalid data: real=one, imaginary=0"),
      Bad("data.one-field", "A line has two fields: not one.", "1,0\n1\n", "invalid content 1"),
      Bad("data.three-fields", "A line has two fields: not three.", "1,0,0\n",
          "invalid content 1,0,0"),
      Bad("data.no-fields", "A line of commas has none.", "1,0\n,,\n", "invalid content ,,"),
      Bad("data.blank-line", "A blank is no field less than any other.", "1,0\n \n",
          "invalid content  "),
      Bad("data.infinite", "An infinity is refused.", "0,-inf\n",
          "invalid data: real=0, imaginary=-inf"),
      Bad("data.overflow", "So is what is too large for a float.", "1e39,0\n",
          "invalid data: real=1e39, imaginary=0"),
      Bad("data.underflow", "And what is too small for one.", "1e-50,0\n",
          "invalid data: real=1e-50, imaginary=0"),
      Bad("data.comment", "There are no comments.", "# a,b\n1,0\n",
          "invalid data: real=# a, imaginary=b"),
      Bad("data.byte-order-mark", "A byte-order mark is no part of a number.",
          "\xEF\xBB\xBF"
          "1,0\n",
          "invalid data: real=\xEF\xBB\xBF"
          "1, imaginary=0"),
      Bad("data.long-line", "Lines may have any length, refused ones included.",
          "1,0\n" + long_number + "\n", "invalid content " + long_number),
  };
  return rows;
}

// By their bits: NaNs are equal, and zeros of other signs are not.
bool IsSame(const Response& left, const Response& right) {
  return left.size() == right.size() &&
         (left.empty() || std::memcmp(left.data(), right.data(), left.size() * sizeof(float)) == 0);
}

bool IsSameOrNan(const Response& left, const Response& right) {
  if (left.size() != right.size()) return false;
  for (size_t i = 0; i < left.size(); ++i) {
    if (std::isnan(right[i]) ? !std::isnan(left[i]) : !IsSame({left[i]}, {right[i]})) return false;
  }
  return true;
}

Response Flat() {
  constexpr size_t kBins = 257;
  Response response;
  for (size_t i = 0; i < kBins; ++i) {
    response.push_back(1);
    response.push_back(0);
  }
  return response;
}

void CheckData(Trial& trial, const DataRow& row, bool is_left) {
  trial.WriteFile("other/unused.txt", "1,2\n");
  std::error_code ignored;
  std::filesystem::create_symlink("l.txt", trial.FilePath("link.txt"), ignored);
  if (row.content) trial.WriteFile(row.file_name, *row.content);
  const std::string config =
      std::string("HingeAngle:0,180|") +
      (is_left ? "RightChannel:r.txt|LeftChannel:" : "LeftChannel:r.txt|RightChannel:") +
      row.file_name;
  const std::string when = is_left ? "as left channel" : "as right channel";
  trial.Expect(trial.Init(config).has_handle, "init handed out no handle");
  Lines log;
  for (const std::string& line : trial.recorder().TakeLines()) {
    if (line.rfind("log ", 0) == 0) log.push_back(line);
  }
  Lines expected = {EntryLog(INFO, "compensation_init: initialize successfully")};
  if (!row.response) {
    expected = Lines{EngineLog(ERROR, "ParseQuantityFromFile: " + row.error),
                     EngineLog(INFO, "SetRawData: set raw data size 514")} +
               expected;
  }
  trial.ExpectLines(when + ": init", expected, log);
  trial.StopIfFailed();

  const Response response = row.response.value_or(Flat());
  trial.recorder().TakeWrites();
  for (const char* const event : {"hinge 30", "announce 5", "start 6"}) trial.After(event);
  const auto writes = trial.recorder().TakeWrites();
  if (writes.size() != 2) {
    trial.Abandon(when + ": a status and corrections were due, and there were " +
                  Count(writes.size(), "write"));
  }
  const auto find = [&writes](bool is_left_message) -> std::optional<Response> {
    for (const auto& message : writes[1].parsed.messages) {
      if (message.is_response() && is_left_message == (message.type == simulator::kLeftMessage)) {
        return message.Response();
      }
    }
    return std::nullopt;
  };
  const auto sent = find(is_left);
  const auto other = find(!is_left);
  trial.Expect(other && IsSame(*other, {2, 3}), when + ": the other channel is not its own file");
  if (response.empty()) {
    trial.Expect(!sent.has_value(), when + ": the channel without data was sent");
  } else if (!sent) {
    trial.Fail(when + ": the channel was not sent");
  } else {
    trial.Expect(IsSameOrNan(*sent, response),
                 when + ": the response is not the file's: " + Count(sent->size() / 2, "bin") +
                     " instead of " + std::to_string(response.size() / 2) + ", or other numbers");
  }
  trial.ExpectPart(when + ": the dump",
                   "      FileName: " + (row.response ? row.file_name : "") +
                       ", Type:" + (is_left ? "0" : "1") +
                       ", Data Size:" + std::to_string(response.size()) + "\n",
                   trial.Dump());
  trial.Deinit();
  trial.recorder().TakeLines();
}

// The DSP and the module's table keep what was read at init.
void CheckReadOnce(Trial& trial) {
  trial.Start("HingeAngle:0,90|LeftChannel:l.txt|RightChannel:r.txt");
  trial.WriteFile("l.txt", "9,9\n");
  std::filesystem::remove(trial.FilePath("r.txt"));
  trial.After("announce 5");
  trial.After("hinge 30");
  const Lines lines = trial.After("start 6");
  trial.Expect(lines.size() == 5 && lines[3] == "write left(0.5 -0.25) right(2 3) = 0",
               "files that changed after init changed what is sent");
}

// What errno was before does not make a number bad.
void CheckStaleErrno(Trial& trial) {
  trial.WriteFile("bad.txt", "1e39,0\n");
  trial.WriteFile("good.txt", "1,2\n3,4\n");
  trial.Start(
      "HingeAngle:0,90|LeftChannel:bad.txt|RightChannel:r.txt "
      "HingeAngle:91,180|LeftChannel:good.txt|RightChannel:r.txt");
  trial.ExpectPart("the dump, where a file follows one with a number out of range",
                   "FileName: good.txt, Type:0, Data Size:4\n", trial.Dump());
}

}  // namespace

void AddDataValidations(Validations& validations) {
  for (const DataRow& row : DataRows()) {
    validations.push_back({row.name, row.holds, [&row](Trial& trial) {
                             for (const bool is_left : {true, false}) {
                               CheckData(trial, row, is_left);
                             }
                           }});
  }
  validations.push_back(
      {"data.read-once", "Files are read at init, and not again.", CheckReadOnce});
  validations.push_back(
      {"data.after-a-bad-file", "A bad file does not spoil the next one.", CheckStaleErrno});
}

}  // namespace brelmo::tavi::tools
