// Responses as text: the same one in any dress, and what is refused or warned of.
#include "response/measurement_reader.h"

#include <clocale>
#include <cmath>
#include <cstdio>

#include <locale>
#include <random>

#include <gmock/gmock.h>

namespace brelmo::tavi::tools {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

std::string Replace(std::string text, const std::string& from, const std::string& to) {
  for (size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
}

// Every reading says why when there is no measurement, and no error beside one.
ReadResult Read(const std::string& bytes, const ReadOptions& options = {}) {
  ReadResult result = ReadMeasurementBytes("m.txt", bytes, options);
  EXPECT_EQ(result.measurement.has_value(), CountOf(result.findings, Severity::kError) == 0);
  EXPECT_FALSE(SummaryText(result.summary).empty());
  return result;
}

std::string Names(const ReadResult& result) {
  std::string names;
  for (const Finding& finding : result.findings) {
    EXPECT_EQ(finding.file, "m.txt") << finding.name;
    EXPECT_FALSE(finding.consequence.empty()) << finding.name;
    names += (names.empty() ? "" : " ") + finding.name;
  }
  return names;
}

struct Row {
  double hz, db, degrees;  // of 3 decimals
};

// 24 points an octave.
std::vector<Row> Rows(double delay_ms = 0.3) {
  std::vector<Row> rows;
  const auto round3 = [](double value) { return std::round(value * 1000.0) / 1000.0; };
  for (double hz = 100.0; hz < 20000.0; hz *= std::exp2(1.0 / 24.0)) {
    rows.push_back({round3(hz), round3(80.0 + 6.0 * std::sin(hz / 700.0)),
                    round3(-0.36 * delay_ms * hz + 20.0 * std::cos(hz / 900.0))});
  }
  return rows;
}

std::string Number(double value, const char* format = "%.3f") {
  char text[40];
  std::snprintf(text, sizeof(text), format, value);
  return text;
}

std::string Lines(const std::vector<Row>& rows, const std::string& separator, bool is_wrapped) {
  std::string text;
  for (const Row& row : rows) {
    const double phase = is_wrapped ? std::remainder(row.degrees, 360.0) : row.degrees;
    text += Number(row.hz) + separator + Number(row.db) + separator + Number(phase) + "\n";
  }
  return text;
}

std::string Utf16(const std::string& text, bool is_big_endian, bool has_mark) {
  std::string bytes = has_mark ? (is_big_endian ? "\xfe\xff" : "\xff\xfe") : "";
  for (const char byte : text) {
    if (is_big_endian) bytes += '\0';
    bytes += byte;
    if (!is_big_endian) bytes += '\0';
  }
  return bytes;
}

std::string Commas(const std::string& text) { return Replace(text, ".", ","); }

// 1,234.567 for 1234.567
std::string Grouped(const std::string& text, const std::string& sign) {
  std::string grouped;
  for (size_t i = 0; i < text.size(); ++i) {
    grouped += text[i];
    const size_t begin = text.find_last_of("\n\t;- ", i) + 1;
    const size_t point = text.find('.', i);
    const size_t end = text.find_first_of("\n\t; ", i);
    if (i >= begin && point < end && point - i == 4 && std::isdigit(text[i]) != 0) grouped += sign;
  }
  return grouped;
}

struct DecimalComma : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

class LocaleChange {
 public:
  LocaleChange() : before_(std::locale::global({std::locale(), new DecimalComma})) {
    std::setlocale(LC_ALL, "de_DE.UTF-8");  // where there is one
  }
  LocaleChange(const LocaleChange&) = delete;
  LocaleChange& operator=(const LocaleChange&) = delete;
  ~LocaleChange() {
    std::setlocale(LC_ALL, "C");
    std::locale::global(before_);
  }

 private:
  std::locale before_;
};

TEST(MeasurementReaderTest, TheSameResponseInAnyDress) {
  const std::vector<Row> rows = Rows();
  const std::string plain = Lines(rows, " ", true);
  const std::string tabs = Lines(rows, "\t", true);
  const std::string semicolons = Lines(rows, ";", true);
  const std::string remarks =
      "* Measured by a program V5.40\n* Source: Hauptlautst\xe4rke 20 Hz\n* Smoothing: None\n"
      "* Note: ; 1,5 2,5\n*\n* Freq(Hz) SPL(dB) Phase(degrees)\n";
  std::string swapped = "Phase [deg], Coherence, Frequency [Hz], Level [dB]\n";
  std::string curves = "Freq;L (dB);R (dB);Phi\n";
  std::string quoted = "\"Frequency\",\"Amplitude\",\"Phase\"\n";
  std::string exponents;
  for (const Row& row : rows) {
    const std::string phase = Number(std::remainder(row.degrees, 360.0));
    swapped += phase + ", n/a, " + Number(row.hz) + ", " + Number(row.db) + "\n";
    curves += Number(row.hz) + ";1;" + Number(row.db) + ";" + phase + ";;\n";
    quoted += "\"" + Grouped(Number(row.hz), ",") + "\",\"" + Number(row.db) + "\"," + phase + "\n";
    exponents += Number(row.hz, "%+.17e") + "   \t" + Number(row.db, "%.17E") + " " + phase + "\n";
  }
  const std::string dresses[] = {
      plain,
      tabs,
      semicolons,
      Lines(rows, ",", true),
      Lines(rows, ", ", true),
      "  " + Replace(plain, " ", "    "),
      Commas(plain),
      Commas(tabs),
      Commas(semicolons),
      Grouped(tabs, ","),
      Grouped(plain, "'"),
      Commas(Grouped(semicolons, " ")),
      Commas(Grouped(semicolons, "\u202f")),
      Replace(Replace(Replace(Grouped(tabs, ","), ",", "_"), ".", ","), "_", "."),
      "\xef\xbb\xbf" + plain,
      Utf16(plain, false, true),
      Utf16(Commas(semicolons), true, true),
      Utf16(plain, false, false),
      Utf16(plain, true, false),
      remarks + plain,
      "\xef\xbb\xbf" + remarks + Commas(semicolons),
      "Loudspeaker 1/48\nFrequency\tGain\tPhase\n" + tabs,
      "\"Klippel, 3\"\n\"a\"\n\"b\"\n" + Grouped(tabs, ","),
      "# x\n% y = 3\n// z\n; w\n" + plain + "# the end",
      "Box 3 4\nFrequency Gain Phase\n" + plain,
      "Set 1 2\n* Freq(Hz) SPL(dB) Phase(degrees)\n" + plain,
      Replace(plain, "\n", "\r\n"),
      Replace(remarks + tabs, "\n", "\r"),
      Replace(plain, "\n", "\n\n* between\n\n"),
      plain.substr(0, plain.size() - 1),
      swapped,
      quoted,
      exponents,
  };
  std::vector<double> hz, db, degrees;
  for (const Row& row : rows) {
    hz.push_back(row.hz);
    db.push_back(row.db);
  }
  degrees = Read(plain).measurement.value().phase_degrees;
  const LocaleChange locale;
  for (const std::string& dress : dresses) {
    const ReadResult result = Read(dress);
    ASSERT_TRUE(result.measurement) << dress.substr(0, 300) << result.findings[0].message;
    EXPECT_THAT(Names(result), IsEmpty()) << dress.substr(0, 300);
    EXPECT_EQ(result.measurement->frequency_hz, hz) << dress.substr(0, 300);
    EXPECT_EQ(result.measurement->magnitude_db, db) << dress.substr(0, 300);
    EXPECT_EQ(result.measurement->phase_degrees, degrees) << dress.substr(0, 300);
  }
  for (const std::vector<std::string>& columns :
       {std::vector<std::string>{"freq", "R (dB)", "phi"}, {"1", "3", "4"}}) {
    ReadOptions options;
    options.columns = columns;
    const auto chosen = Read(curves, options).measurement.value();
    EXPECT_EQ(chosen.magnitude_db, db);
    EXPECT_EQ(chosen.phase_degrees, degrees);
  }
}

TEST(MeasurementReaderTest, WrappedAndUnwrappedPhaseAreTheSame) {
  const std::vector<Row> rows = Rows(0.8);
  const auto wrapped = Read(Lines(rows, " ", true));
  const auto unwrapped = Read(Lines(rows, " ", false));
  for (double hz = 90.0; hz < 21000.0; hz *= 1.013) {
    EXPECT_LT(
        std::abs(ResponseAt(*wrapped.measurement, hz) / ResponseAt(*unwrapped.measurement, hz) -
                 1.0),
        1e-4)
        << hz;
  }
  // Linear in the logarithm of the frequency, held outside.
  const auto line =
      Read("1000 0 0\n2000 6 -90\n4000 0 -60\n", {{}, {}, {}, 20, 1000, 4000, {}, true});
  EXPECT_NEAR(MagnitudeDbAt(*line.measurement, 1000 * std::sqrt(2.0)), 3.0, 1e-9);
  EXPECT_NEAR(PhaseDegreesAt(*line.measurement, 1000 * std::sqrt(2.0)), -45.0, 1e-9);
  EXPECT_EQ(MagnitudeDbAt(*line.measurement, 2000), 6.0);
  EXPECT_EQ(MagnitudeDbAt(*line.measurement, 10), 0.0);
  EXPECT_EQ(PhaseDegreesAt(*line.measurement, 40000), -60.0);
}

TEST(MeasurementReaderTest, PhaseThatTurnsTooFast) {
  const std::vector<Row> rows = Rows(5.4);
  for (const bool is_wrapped : {true, false}) {
    const auto result = Read(Lines(rows, " ", is_wrapped));
    EXPECT_EQ(Names(result), "phase-undersampled");
    ASSERT_TRUE(result.measurement && result.measurement->has_phase());
    const double delay = result.measurement->delay_seconds;
    EXPECT_NEAR(delay, 0.0054, 0.00005);
    // With the delay the phase is what was measured.
    ReadOptions options;
    options.delay = DelayPolicy::kKeep;
    const auto kept = Read(Lines(rows, " ", is_wrapped), options).measurement.value();
    EXPECT_EQ(kept.delay_seconds, 0.0);
    for (size_t i = 0; i < rows.size() && rows[i].hz < 8000; ++i) {
      const double left = result.measurement->phase_degrees[i] - 360.0 * delay * rows[i].hz;
      EXPECT_NEAR(std::remainder(left - rows[i].degrees, 360.0), 0.0, 1e-6);
      EXPECT_NEAR(kept.phase_degrees[i] - kept.phase_degrees[0], rows[i].degrees - rows[0].degrees,
                  1e-6);
    }
  }
  // A phase without sense has no delay that would mend it.
  std::vector<Row> random = rows;
  std::mt19937 engine(1);
  for (Row& row : random) row.degrees = static_cast<double>(engine() % 360) - 180.0;
  const auto result = Read(Lines(random, " ", true));
  EXPECT_EQ(Names(result), "phase-undersampled");
  EXPECT_FALSE(result.measurement->has_phase());
  EXPECT_THAT(result.findings[0].consequence, HasSubstr("minimum phase"));
  // One that is sound loses its delay only when asked.
  ReadOptions remove;
  remove.delay = DelayPolicy::kRemove;
  EXPECT_EQ(Read(Lines(Rows(0.5), " ", true)).measurement->delay_seconds, 0.0);
  EXPECT_NEAR(Read(Lines(Rows(0.5), " ", true), remove).measurement->delay_seconds, 0.0005, 2e-5);
}

struct FindingRow {
  const char* names;
  std::string text;
  size_t line, column;
  const char* message;  // a part of it
  std::vector<std::string> columns = {};
};

TEST(MeasurementReaderTest, WhatIsRefusedOrWarnedOf) {
  const std::string good = Replace(Lines(Rows(), " ", true), "\n", "|");
  const auto first = [&good](size_t count) {
    size_t end = 0;
    while (count-- > 0) end = good.find('|', end) + 1;
    return good.substr(0, end);
  };
  const std::string three = first(3);
  std::string data_file = "1,0|";
  for (int bin = 1; bin < 257; ++bin) data_file += "0." + std::to_string(999 - bin) + ",0.1|";
  const FindingRow findings[] = {
      {"no-data", "", 0, 0, "no line begins with"},
      {"no-data", "* only|Freq SPL|", 0, 0, "no line begins with"},
      {"no-data", "1000 80|", 0, 0, "a single point"},
      {"not-text", std::string("MZ\0\0\0\0", 6), 0, 0, "neither text nor audio"},
      {"not-a-number", three + "200 NaN 0|", 4, 5, "\"NaN\" is no number"},
      {"not-a-number", three + "20O 80 0|", 4, 1, "\"20O\" is no number"},
      {"not-a-number", three + "remark|", 4, 1, "\"remark\" is no number"},
      {"not-a-number", "100 inf|200 80|", 1, 5, "\"inf\" is no number"},
      {"not-a-number", "100 1e999|200 80|", 1, 5, "\"1e999\" is no number"},
      {"not-a-number", "100\t\t80\t|200\t\t90|", 1, 5, "an empty field is no number"},
      {"not-a-number", "96 points an octave|100 80|", 1, 4, "\"points\" is no number"},
      {"not-a-number", "100 80|200 8\xe4|", 2, 5, "\"8\\xe4\" is no number"},
      {"not-a-number", "20O 80 0|" + three, 1, 1, "\"20O\" is no number, in a line that"},
      {"not-a-number", "Level 1|* why|nan;80|100;80|200;81|", 3, 1, "\"nan\" is no number, in"},
      {"not-a-number", "20O  8O 0|" + three, 1, 1, "\"20O\" is no number, in a line that"},
      {"column-count", "90|" + three, 1, 1, "the line has 1 field while the first data line has 3"},
      {"data-file", data_file, 1, 1, "257 bins of real and imaginary part"},
      {"data-file", "1,0|0.5,-0.5|-0.5,0|", 1, 1, "3 bins of real and imaginary part"},
      {"not-a-number", "1,000.5 80|2,00.5 80|", 2, 1, "\"2,00.5\" is no number"},
      {"not-a-number", "100 80\r|200 x\r|", 2, 5, "\"x\" is no number"},
      {"value-out-of-range", three + "200 4000 0|", 4, 5, "4000 is no value in dB (-300 to 300)"},
      {"value-out-of-range", "-100,80|100,80|", 1, 1, "-100 is no value in Hz"},
      {"value-out-of-range", "5e-324 80|9000 80|", 1, 1, "is no value in Hz (0.001 to"},
      {"column-count", three + "200 80|", 4, 7, "ends before column 3"},
      {"column-count", three + "200 80 0 1|", 4, 1, "has 4 fields while the first data line has 3"},
      {"frequency-order", three + "99.5 80 0|", 4, 1, "99.5 Hz stands behind 105.946 Hz"},
      {"repeated-frequency", three + "105.9460 80 0|", 4, 1, "105.946 Hz stands twice"},
      {"ambiguous-numbers", "100,000;70|500,000;71|", 1, 1, "(first point 100 Hz, 70 dB), and"},
      {"ambiguous-numbers", "100 200\t70|200 300\t71|", 1, 1, "space in thousands"},
      {"ambiguous-numbers", "100,80,5|200,81,4|", 1, 1, "as three columns with comma"},
      {"several-curves", "100 80 0 1|200 80 0 1|", 1, 1, "the 4 columns have no names"},
      {"several-curves", "Freq;SPL L;SPL R|100;80;81|200;80;81|", 2, 1, "2 \"SPL L\""},
      {"several-curves", "Freq\tA\tFreq\tB|100\t1\t100\t2|200\t1\t200\t3|", 2, 1, ""},
      {"unknown-column",
       three,
       1,
       1,
       "--column \"SPL\" names none of the file's 3 columns",
       {"1", "SPL"}},
      {"unknown-column", three, 1, 1, "--column \"4\" names none", {"1", "4"}},
      {"unknown-column", three, 1, 1, "is named twice", {"1", "1"}},
      {"unknown-column", three, 1, 1, "--column names 1 column", {"1"}},
      {"column-unit", "Freq (kHz) SPL|0.3 80|8 80|", 2, 1, "column 1 (Freq (kHz)) is not in Hz"},
      {"column-unit", "Freq,Phase (rad),dB|300,1,80|8000,1,80|", 2, 1, "is not in degrees"},
      {"nothing-in-range", "20 80|40 80|", 0, 0, "20 to 40 Hz, have no point in the range of 300"},
      {"range-not-covered", first(150), 0, 0, "end inside the range of 300 to 8000 Hz"},
      {"few-points", first(60) + good.substr(first(63).size()), 0, 0, "6.0 an octave, of 12"},
      {"smoothed-export", "* Smoothing: 1/12 octave|" + good, 1, 1, "was smoothed"},
      {"point-at-dc", "0 0 0|" + good, 1, 1, "the point at 0 Hz is left out"},
  };
  for (const FindingRow& row : findings) {
    ReadOptions options;
    options.columns = row.columns;
    const ReadResult result = Read(Replace(row.text, "|", "\n"), options);
    EXPECT_EQ(Names(result), row.names) << row.text.substr(0, 99);
    if (result.findings.empty()) continue;
    const Finding& finding = result.findings[0];
    EXPECT_EQ(finding.line, row.line) << row.text.substr(0, 99);
    EXPECT_EQ(finding.column, row.column) << row.text.substr(0, 99);
    EXPECT_THAT(finding.message, HasSubstr(row.message));
  }
}

}  // namespace
}  // namespace brelmo::tavi::tools
