#include "response/table_text.h"

#include <charconv>
#include <utility>
#include <variant>

#include "console/wording.h"
#include "response/measurement.h"
#include "response/number_text.h"
#include "response/table_columns.h"
#include "response/table_doubts.h"
#include "response/table_lines.h"
#include "response/text_encoding.h"

namespace brelmo::tavi::tools {

namespace {

constexpr size_t kMaxPoints = 1000000;
constexpr double kMaxFrequencyHz = 1e7;
constexpr double kMinFrequencyHz = 0.001;  // but for 0 Hz
constexpr double kMaxPhaseDegrees = 1e8;

// One way to read the data lines.
struct TableForm {
  FieldSeparator separator = FieldSeparator::kTab;
  NumberFormat format;
};

std::string SignName(char sign) {
  switch (sign) {
    case '.':
      return "point";
    case ',':
      return "comma";
    case '\'':
      return "apostrophe";
    case ' ':
      return "space";
    default:
      return "";
  }
}

std::string Describe(const TableForm& form) {
  std::string text = std::string(SeparatorName(form.separator)) + " as separator, " +
                     SignName(form.format.decimal) + " as decimal sign";
  if (form.format.thousands != '\0')
    text += ", " + SignName(form.format.thousands) + " in thousands";
  return text;
}

std::string ShortNumber(double value) {
  char text[32];
  const auto result =
      std::to_chars(text, text + sizeof(text), value, std::chars_format::general, 10);
  return {text, result.ptr};
}

Finding MakeRefusal(const std::string& name, const std::string& message, const std::string& cure) {
  return MakeFinding(name, Severity::kError, std::nullopt, message, "the file is refused; " + cure);
}

// What came of one way to read them.
struct FormReading {
  ResponseTable table;
  std::vector<Finding> notes;
  std::optional<Finding> failure;
  // How far it came before it failed.
  size_t points = 0;
  size_t offset = 0;

  bool IsFurtherThan(const FormReading& other) const {
    return std::pair(points, offset) > std::pair(other.points, other.offset);
  }
};

bool HasSameValues(const ResponseTable& left, const ResponseTable& right) {
  return left.frequency_hz == right.frequency_hz && left.magnitude_db == right.magnitude_db &&
         left.phase_degrees == right.phase_degrees;
}

class FormReader {
 public:
  FormReader(const std::string& file, const TableLayout& layout, const TableForm& form,
             const std::vector<std::string>& wanted)
      : file_(file), layout_(layout), form_(form) {
    SplitFields(layout.first_data->text, form.separator, &fields_);
    count_ = fields_.size();
    if (count_ < 2) {
      Fail(*layout.first_data, {}, MakeRefusal("no-data", "the line holds one field only", kCure));
      reading_.offset = 0;
      return;
    }
    const std::vector<std::string> names = FindNames(layout, form.separator, count_);
    auto choice = ChooseColumns(names, count_, wanted);
    const Finding* fault = std::get_if<Finding>(&choice);
    if (fault == nullptr) columns_ = std::get<ColumnChoice>(choice);
    ReadLines();
    // Which columns are meant is asked of a reading that fits otherwise.
    if (fault != nullptr && !reading_.failure) Fail(*layout.first_data, {}, *fault);
    Label(names);
  }

  FormReading Take() { return std::move(reading_); }

 private:
  static constexpr const char* kCure =
      "a data line holds a frequency, a magnitude in dB and perhaps a phase in degrees";

  void ReadLines() {
    LineCursor cursor(layout_.data);
    TextLine line;
    while (!reading_.failure && cursor.Next(&line)) {
      if (IsBlank(line.text) || IsComment(line.text)) continue;
      line.number += layout_.first_data->number - 1;
      ReadPoint(line);
    }
  }

  void ReadPoint(const TextLine& line) {
    ResponseTable& table = reading_.table;
    SplitFields(line.text, form_.separator, &fields_);
    auto frequency = Value(line, columns_.frequency, 0.0, kMaxFrequencyHz, "Hz");
    if (frequency && *frequency != 0.0) {
      frequency = Value(line, columns_.frequency, kMinFrequencyHz, kMaxFrequencyHz, "Hz");
    }
    if (!frequency) return;
    const auto magnitude =
        Value(line, columns_.magnitude, kLeastMagnitudeDb, -kLeastMagnitudeDb, "dB");
    if (!magnitude) return;
    std::optional<double> phase;
    if (columns_.phase) {
      phase = Value(line, *columns_.phase, -kMaxPhaseDegrees, kMaxPhaseDegrees, "degrees");
      if (!phase) return;
    }
    if (fields_.size() != count_) {
      return Fail(line, {},
                  MakeRefusal("column-count",
                              "the line has " + Count(fields_.size(), "field") +
                                  " while the first data line has " + std::to_string(count_),
                              "all data lines have the same columns" + AsRead()));
    }
    const std::string_view field = fields_[columns_.frequency];
    if (last_frequency_ && *frequency == *last_frequency_) {
      return Fail(
          line, field,
          MakeRefusal("repeated-frequency", ShortNumber(*frequency) + " Hz stands twice",
                      "each frequency has one value: leave one of the two lines out" + AsRead()));
    }
    if (last_frequency_ && *frequency < *last_frequency_) {
      return Fail(line, field,
                  MakeRefusal("frequency-order",
                              ShortNumber(*frequency) + " Hz stands behind " +
                                  ShortNumber(*last_frequency_) + " Hz",
                              "frequencies ascend, and one file holds one curve: sort the lines" +
                                  AsRead()));
    }
    last_frequency_ = *frequency;
    if (*frequency == 0.0) {
      const Finding note =
          MakeFinding("point-at-dc", Severity::kNote, std::nullopt, "the point at 0 Hz is left out",
                      "a logarithmic frequency axis has no place for it");
      reading_.notes.push_back(PlacedIn(note, file_, line, field));
      return;
    }
    if (++reading_.points > kMaxPoints) {
      return Fail(line, {},
                  MakeRefusal("too-many-points",
                              "there are more than " + std::to_string(kMaxPoints) + " points",
                              "export the response with fewer points"));
    }
    table.frequency_hz.push_back(*frequency);
    table.magnitude_db.push_back(*magnitude);
    if (phase) table.phase_degrees.push_back(*phase);
  }

  // The value in a column; fails unless there is one between the limits.
  std::optional<double> Value(const TextLine& line, size_t column, double least, double greatest,
                              const char* unit) {
    if (column >= fields_.size()) {
      Fail(line, line.text.substr(line.text.size()),
           MakeRefusal("column-count", "the line ends before column " + std::to_string(column + 1),
                       "all data lines have the same columns" + AsRead()));
      return std::nullopt;
    }
    const std::string_view field = fields_[column];
    const auto value = ParseNumber(field, form_.format);
    if (!value) {
      Fail(line, field,
           MakeRefusal("not-a-number",
                       (field.empty() ? "an empty field" : Quote(field)) + " is no number",
                       "mend the line, or begin it with * when it is a comment" + AsRead()));
    } else if (*value < least || *value > greatest) {
      Fail(line, field,
           MakeRefusal(
               "value-out-of-range",
               ShortNumber(*value) + " is no value in " + unit + " (" + ShortNumber(least) +
                   " to " + ShortNumber(greatest) + ")",
               "columns are frequency, magnitude and phase; --column names others" + AsRead()));
      return std::nullopt;
    }
    return value;
  }

  std::string AsRead() const { return " (read with " + Describe(form_) + ")"; }

  void Fail(const TextLine& line, std::string_view part, const Finding& finding) {
    reading_.failure = PlacedIn(finding, file_, line, part);
    reading_.offset = reading_.failure->column;
  }

  void Label(const std::vector<std::string>& names) {
    ResponseTable& table = reading_.table;
    table.separator = SeparatorName(form_.separator);
    table.decimal_sign = SignName(form_.format.decimal);
    table.thousands = SignName(form_.format.thousands);
    table.comment_lines = layout_.comment_lines;
    table.header_lines = layout_.header_lines;
    std::vector<size_t> used = {columns_.frequency, columns_.magnitude};
    if (columns_.phase) used.push_back(*columns_.phase);
    std::vector<bool> is_used(count_, false);
    for (const size_t column : used) {
      if (column >= count_) continue;
      table.columns.push_back(ColumnLabel(names, column));
      is_used[column] = true;
    }
    for (size_t column = 0; column < count_; ++column) {
      if (!is_used[column]) table.unused_columns.push_back(ColumnLabel(names, column));
    }
  }

  const std::string& file_;
  const TableLayout& layout_;
  const TableForm form_;
  ColumnChoice columns_;
  size_t count_ = 0;
  std::optional<double> last_frequency_;
  std::vector<std::string_view> fields_;
  FormReading reading_;
};

// Whole numbers between commas, three a line and without names, may be two with a decimal comma.
bool MayHaveDecimalCommas(const TableLayout& layout) {
  LineCursor cursor(layout.data);
  TextLine line;
  std::vector<std::string_view> fields;
  bool may_be_first = true;
  bool may_be_second = true;
  const auto is_whole = [](std::string_view field) {
    return field.find_first_not_of("0123456789") == std::string_view::npos;
  };
  while (cursor.Next(&line)) {
    if (IsBlank(line.text) || IsComment(line.text)) continue;
    // A blank behind a comma, as behind one that separates.
    if (line.text.find_first_of(" \t\"") != std::string_view::npos) return false;
    SplitFields(line.text, FieldSeparator::kComma, &fields);
    const bool is_negative = fields.size() == 3 && !fields[1].empty() && fields[1].front() == '-';
    if (fields.size() != 3 || !is_whole(fields[0])) return false;
    may_be_first = may_be_first && is_whole(fields[1]) && ParseNumber(fields[2], {});
    may_be_second =
        may_be_second && is_whole(fields[2]) && is_whole(fields[1].substr(is_negative ? 1 : 0));
  }
  return may_be_first || may_be_second;
}

Finding AmbiguousCommas(const std::string& file, const TextLine& line) {
  const Finding finding = MakeRefusal(
      "ambiguous-numbers",
      "the lines can be read in two ways: as three columns with comma as separator, and as two "
      "with "
      "comma as separator and as decimal sign",
      "say --column 1,2,3 for three columns, or export with another separator or decimal point");
  return PlacedIn(finding, file, line, {});
}

Finding Ambiguous(const std::string& file, const TextLine& line, const TableForm& form,
                  const ResponseTable& table, const TableForm& other_form,
                  const ResponseTable& other) {
  const auto first = [](const ResponseTable& values) {
    return "first point " + ShortNumber(values.frequency_hz[0]) + " Hz, " +
           ShortNumber(values.magnitude_db[0]) + " dB";
  };
  Finding finding = AmbiguousCommas(file, line);
  finding.message = "the numbers can be read in two ways: with " + Describe(form) + " (" +
                    first(table) + "), and with " + Describe(other_form) + " (" + first(other) +
                    ")";
  finding.consequence =
      "the file is refused; export it with a decimal point and without signs in thousands, or with "
      "semicolons between the columns";
  return finding;
}

constexpr NumberFormat kFormats[] = {{'.', '\0'}, {',', '\0'}, {'.', ','},  {',', '.'},
                                     {'.', ' '},  {',', ' '},  {'.', '\''}, {',', '\''}};

}  // namespace

TableResult ReadTable(const std::string& file, std::string_view text,
                      const std::vector<std::string>& wanted) {
  TableResult result;
  const TableLayout layout = FindLayout(text);
  if (!layout.first_data) {
    result.findings.push_back(MakeRefusal(
        "no-data", "no line begins with a frequency and a magnitude",
        "give a response as text (Hz, dB and perhaps degrees), or an impulse response as WAV, AIFF "
        "or FLAC"));
    result.findings.back().file = file;
    return result;
  }
  std::optional<std::pair<TableForm, FormReading>> fitting;
  FormReading furthest;
  for (const FieldSeparator separator : kFieldSeparators) {
    for (const NumberFormat& format : kFormats) {
      const TableForm form{separator, format};
      FormReading reading = FormReader(file, layout, form, wanted).Take();
      if (reading.failure) {
        if (!furthest.failure || reading.IsFurtherThan(furthest)) furthest = std::move(reading);
      } else if (!fitting) {
        fitting.emplace(form, std::move(reading));
      } else if (!HasSameValues(fitting->second.table, reading.table)) {
        result.findings.push_back(Ambiguous(file, *layout.first_data, fitting->first,
                                            fitting->second.table, form, reading.table));
        return result;
      } else if (separator == fitting->first.separator && format.thousands == '\0') {
        fitting->second.table.decimal_sign = "none";
      }
    }
  }
  if (!fitting) {
    result.findings.push_back(DataFileDoubt(file, layout).value_or(*furthest.failure));
    return result;
  }
  const auto& [form, reading] = *fitting;
  const size_t count = reading.table.columns.size() + reading.table.unused_columns.size();
  if (auto doubt = HeaderDoubt(file, layout, form.separator, form.format, count)) {
    result.findings.push_back(std::move(*doubt));
    return result;
  }
  if (form.separator == FieldSeparator::kComma && wanted.empty() &&
      FindNames(layout, form.separator, 3).empty() && MayHaveDecimalCommas(layout)) {
    result.findings.push_back(AmbiguousCommas(file, *layout.first_data));
    return result;
  }
  result.findings = reading.notes;
  if (reading.table.frequency_hz.size() < 2) {
    result.findings.push_back(
        MakeRefusal("no-data", "there is a single point", "a response takes two points at least"));
    result.findings.back().file = file;
    return result;
  }
  if (layout.smoothing) {
    const Finding warning = MakeFinding(
        "smoothed-export", Severity::kWarning, std::nullopt, "the response was smoothed",
        "what smoothing hides cannot be corrected, and smoothed dB and phase need not belong "
        "together: export without smoothing");
    result.smoothed = PlacedIn(warning, file, *layout.smoothing, {});
  }
  result.table = reading.table;
  return result;
}

}  // namespace brelmo::tavi::tools
