// Faults that are known, since they were injected: each has to be named, and no other.
#include <algorithm>
#include <iostream>
#include <map>
#include <numeric>
#include <set>

#include <gmock/gmock.h>

#include "diagnose/diagnosis.h"
#include "diagnose/line_order.h"
#include "field_device.h"
#include "process/scratch_folder.h"

namespace brelmo::tavi::test {

namespace {

using tools::Severity;

const char* const kConfig =
    "HingeAngle:0,60|ScreenRotation:0,180|LeftChannel:a.txt|RightChannel:b.txt "
    "HingeAngle:61,120|ScreenRotation:0,180|LeftChannel:c.txt|RightChannel:d.txt "
    "HingeAngle:61,120|ScreenRotation:90|LeftChannel:e.txt|RightChannel:f.txt";
const char* const kConfigWithoutBack =
    "HingeAngle:0,60|ScreenRotation:0,180|LeftChannel:a.txt|RightChannel:b.txt "
    "HingeAngle:61,120|ScreenRotation:0|LeftChannel:c.txt|RightChannel:d.txt "
    "HingeAngle:61,120|ScreenRotation:90,270|LeftChannel:e.txt|RightChannel:f.txt";
const char* const kOtherConfig =
    "HingeAngle:0,90|ScreenRotation:0,180|LeftChannel:a.txt|RightChannel:b.txt "
    "HingeAngle:91,180|ScreenRotation:0,180|LeftChannel:g.txt|RightChannel:d.txt";
// The second case takes its turn with the first between 40 and 60.
const char* const kOverlapping =
    "HingeAngle:0,60|LeftChannel:a.txt|RightChannel:b.txt "
    "HingeAngle:40,180|LeftChannel:c.txt|RightChannel:d.txt";
const char* const kCutShort =
    "HingeAngle:0,60|ScreenRotation:0,180|LeftChannel:a.txt|RightChannel:b.txt "
    "HingeAngle:61,120|ScreenRotation:45|LeftChannel:c.txt|RightChannel:d.txt";

constexpr const char* kHealthy =
    "announce 5\nhinge 30\nstart 6\nwait 10s\nhinge 80\nwait 8s\nrotation 90\nrotation 0\nhinge "
    "20\n"
    "stop 6\nstart 23\nhinge 90\nstop 23\n";

struct Fault {
  std::string name;  // empty: none is injected
  const char* config;
  std::string steps;
  bool is_in_log = true;
  bool is_in_capture = true;  // with the right configuration at hand
  std::string broken_file{};  // of the device alone
  std::string broken_content{};
  std::set<std::string> also = {};  // what follows from it
};

const std::vector<Fault>& Faults() {
  static const std::vector<Fault> faults = {
      {"", kConfig, kHealthy},
      {"write-refused", kConfig,
       "announce 5\nhinge 30\nstart 6\ndsp refuse 1 -5\nhinge 80\nwait 5s\nhinge 20\nstop 6\n"},
      {"write-refused", kConfig,
       "announce 6\nhinge 80\nstart 6\ndsp absent\nrotation 90\ndsp present\nwait 3s\nstop 6\n",
       true, false},
      {"call-without-status", kConfig,
       "announce 5\nhinge 30\ndsp refuse 1 -11\nstart 6\nwait 9s\nhinge 80\nstop 6\n"},
      {"call-without-status", kConfig,
       std::string(kHealthy) + "withdraw 5\nstart 6\nwait 9s\nstop 6\n", true, false},
      {"status-without-call", kConfig,
       "announce 5\nhinge 30\nstart 6\nwait 9s\ndsp refuse 1 -5\nstop 6\nwait 60s\nstart 6\nstop "
       "6\n"},
      {"no-case", kConfig,
       "announce 5\nhinge 30\nstart 6\nstop 6\nhinge 150\nstart 6\nwait 20s\nstop 6\n"},
      // In a call; a log without times does not tell it.
      {"no-case",
       kConfigWithoutBack,
       "announce 5\nhinge 80\nstart 6\nwait 5s\nrotation 180\nwait 9s\nstop 6\n",
       false,
       false,
       "",
       "",
       {"no-case"}},
      {"before-first-reading",
       kOverlapping,
       "announce 5\nstart 6\nwait 20s\nstop 6\nhinge 30\n",
       true,
       false,
       "",
       "",
       {"no-case"}},
      {"alternating-cases", kOverlapping,
       "announce 5\nhinge 50\nstart 6\nhinge 51\nhinge 52\nhinge 51\nhinge 50\nhinge 49\nstop 6\n"},
      {"cases-lost", kCutShort, "announce 5\nhinge 30\nstart 6\nwait 5s\nstop 6\n", true, false},
      {"cases-lost", "HingeAngle:0,60|LeftChannel:a.txt|RightChannel:b.txt bad x:y",
       "announce 5\nhinge 30\nstart 6\nwait 5s\nstop 6\n", true, false},
      {"flat-channel", kConfig, kHealthy, true, true, "c.txt", "1,0\r\n2,0\r\n"},
      {"unknown-response", kConfig, kHealthy, false, true, "c.txt", "1,0\n2.1,0\n3,1\n"},
      // Of the same magnitude; of more bins; the file of the other channel; in the first case.
      {"unknown-response", kConfig, kHealthy, false, true, "c.txt", "-3,0\n2,0\n3,1\n"},
      {"unknown-response", kConfig, kHealthy, false, true, "d.txt", "4,0\n2,0\n3,1\n0,0\n"},
      {"unknown-response", kConfig, kHealthy, false, true, "d.txt", "3,0\n2,0\n3,1\n"},
      {"unknown-response", kConfig, kHealthy, false, true, "a.txt", "1,0\n2,0\n3,1.5\n"},
      {"write-not-made",
       "HingeAngle:0,60|LeftChannel:none.txt|RightChannel:none.txt",
       "announce 5\nhinge 30\nstart 6\nwait 5s\nstop 6\n",
       true,
       false,
       "",
       "",
       {"no-case", "empty-channel"}},
      {"init-failed", kConfig, "refuse sensor -5\ninit\n", true, false},
  };
  return faults;
}

class DiagnosedFaultsTest : public testing::Test {
 protected:
  DiagnosedFaultsTest() { WriteFiles("desk/"); }

  void WriteFiles(const std::string& folder) const {
    int number = 1;
    for (const char* const name : {"a", "b", "c", "d", "e", "f", "g"}) {
      const std::string first = std::to_string(number++);
      folder_.Write(folder + name + ".txt", first + ",0\n2,0\n3,1\n");
    }
    folder_.Write(folder + "none.txt", "");
  }

  tools::CandidateSource Source(const std::string& name, const std::string& text) const {
    return {name, text, folder_.path("desk"), false};
  }

  tools::Diagnosis Diagnose(const std::vector<std::string>& contents,
                            const std::vector<tools::CandidateSource>& sources) const {
    std::vector<std::string> files;
    for (const std::string& content : contents) {
      files.push_back("material_" + std::to_string(files.size()));
      folder_.Write(files.back(), content);
      files.back() = folder_.path(files.back());
    }
    return tools::Diagnose(tools::ReadMaterial(files, [](uint64_t, std::optional<uint64_t>) {}),
                           sources);
  }

  // Counts, and says what was named wrongly, or was not where it had to be.
  void Judge(const Fault& fault, const tools::Diagnosis& diagnosis, bool must_name,
             const std::string& variant) {
    std::set<std::string> named;
    for (const auto& found : diagnosis.findings) {
      if (found.finding.severity != Severity::kNote) named.insert(found.finding.name);
    }
    const std::string row = fault.name.empty() ? "(none)" : fault.name;
    const bool is_named = fault.name.empty() || named.count(fault.name) != 0;
    table_[row].due += must_name ? 1 : 0;
    table_[row].named += must_name && is_named ? 1 : 0;
    EXPECT_TRUE(is_named || !must_name) << row << " is not named: " << variant;
    for (const std::string& name : named) {
      if (name == fault.name || fault.also.count(name) != 0) continue;
      if (variant == "cut bytes" && name == "capture-damaged") continue;
      const auto found =
          std::find_if(diagnosis.findings.begin(), diagnosis.findings.end(),
                       [&name](const auto& one) { return one.finding.name == name; });
      // Of a log without its lines nobody can tell, and it has to be said so.
      if (variant == "thinned" && !found->is_certain) {
        ++wrong_of_thinned_;
        continue;
      }
      ++table_[row].wrong;
      ADD_FAILURE() << name << " is named in place of " << row << ": " << variant << ": "
                    << found->finding.message << "; " << found->finding.consequence;
    }
  }

  struct Row {
    int due = 0;  // material that tells it
    int named = 0;
    int wrong = 0;
  };
  void PrintTable() const {
    std::cout << "injected                 due   named  wrongly named\n";
    for (const auto& [name, row] : table_) {
      std::cout << name << std::string(24 - std::min<size_t>(24, name.size()), ' ') << row.due
                << "     " << row.named << "     " << row.wrong << "\n";
    }
  }

  tools::ScratchFolder folder_;
  std::map<std::string, Row> table_;
  int wrong_of_thinned_ = 0;
};

TEST_F(DiagnosedFaultsTest, AreNamedAndNoOthers) {
#ifdef TAVI_SANITIZED
  constexpr int kTries = 2;  // which take ten times as long
#else
  constexpr int kTries = 20;
#endif
  std::mt19937 random(1);
  for (const Fault& fault : Faults()) {
    const std::string device = folder_.path("device");
    WriteFiles("device/");
    if (!fault.broken_file.empty()) {
      folder_.Write("device/" + fault.broken_file, fault.broken_content);
    }
    const Recording recording = Play(fault.config, device, fault.steps);
    // The files of the device are at hand but for a response that only the capture shows.
    tools::CandidateSource right = Source("right.conf", fault.config);
    if (fault.is_in_log) right.data_root = device;
    const std::vector<tools::CandidateSource> both = {Source("other.conf", kOtherConfig), right};
    for (const std::string& format : LogFormats()) {
      const std::string log = Render(recording.log, format);
      const auto diagnosis = Diagnose({log}, both);
      Judge(fault, diagnosis, fault.is_in_log, "log, " + format);
      if (fault.is_in_log && fault.name != "init-failed") {
        EXPECT_TRUE(diagnosis.best == 1U || !diagnosis.equals.empty()) << fault.name << format;
        EXPECT_EQ(diagnosis.explanations[1].explained, diagnosis.explanations[1].total)
            << fault.name << ", " << format << ": "
            << diagnosis.explanations[1].first_against->reason << " line "
            << diagnosis.explanations[1].first_against->place.line;
      }
      const bool has_turns =
          fault.name == "alternating-cases" || fault.name == "before-first-reading";
      Judge(fault, Diagnose({log}, {}), fault.is_in_log && !has_turns && fault.also.empty(),
            "log alone, " + format);
    }
    for (int i = 0; i < kTries; ++i) {
      const std::string& format = LogFormats()[random() % LogFormats().size()];
      const auto mixed = WithOtherProcesses(recording.log, random);
      Judge(fault, Diagnose({Render(mixed, format)}, both), fault.is_in_log, "mixed, " + format);
      const auto moved = WithOtherProcesses(Reordered(recording.log, random), random);
      Judge(fault, Diagnose({Render(moved, "threadtime")}, both), fault.is_in_log, "reordered");
      const auto thinned = Thinned(recording.log, random);
      Judge(fault, Diagnose({Render(thinned, "threadtime")}, both), false, "thinned");
    }
    if (recording.bytes.empty()) continue;
    right.data_root = folder_.path("desk");
    const std::vector<tools::CandidateSource> at_desk = {right, both[0]};
    Judge(fault, Diagnose({recording.pcapng}, {right}), fault.is_in_capture, "pcapng");
    Judge(fault, Diagnose({recording.pcapng}, at_desk), fault.is_in_capture, "pcapng, two");
    const bool needs_results = fault.broken_file.empty() && fault.name != "alternating-cases";
    Judge(fault, Diagnose({recording.bytes}, {right}), !needs_results, "bytes");
    // Into its last response: a part of a delivery is no channel that is never sent.
    if (recording.bytes.size() > 100) {
      const std::string cut = recording.bytes.substr(0, recording.bytes.size() - 20);
      Judge(fault, Diagnose({cut}, {right}), false, "cut bytes");
    }
    // In any order, and the log goes on behind the dump as if none had been there.
    const auto middle = recording.log.begin() + static_cast<ptrdiff_t>(recording.log.size() / 2);
    const std::string first = Render({recording.log.begin(), middle}, "time");
    const std::string second = Render({middle, recording.log.end()}, "time");
    const auto all = Diagnose({recording.pcapng, first + recording.dump + second}, at_desk);
    Judge(fault, all, true, "pcapng, a log around a dump");
    EXPECT_EQ(all.material.entries.size(), recording.log.size()) << fault.name;
    // Two files that have lines in common are one log.
    const auto further = std::min<ptrdiff_t>(5, recording.log.end() - middle);
    const std::string longer = Render({recording.log.begin(), middle + further}, "time");
    const auto overlapping = Diagnose({second, recording.bytes, longer}, at_desk);
    Judge(fault, overlapping, !needs_results, "a log in two files, bytes");
    EXPECT_EQ(overlapping.story.repeated_lines, further) << fault.name;
    if (!fault.is_in_log) continue;
    Judge(fault, Diagnose({recording.dump}, {right}), false, "dump");
  }
  PrintTable();
  std::cout << "wrongly named in logs with lines lost: " << wrong_of_thinned_ << " of "
            << kTries * Faults().size() << "\n";
  EXPECT_LE(wrong_of_thinned_, static_cast<int>(kTries * Faults().size() / 50));
}

// One of two engines is at fault; the clock is set back; what came through a desk's editor.
TEST_F(DiagnosedFaultsTest, AreNamedInDirt) {
  const std::string desk = folder_.path("desk");
  const auto right = Source("right.conf", kConfig);
  const auto find = [](const tools::Diagnosis& diagnosis, const std::string& name) {
    std::vector<const tools::FieldFinding*> found;
    for (const auto& one : diagnosis.findings) {
      if (one.finding.name == name) found.push_back(&one);
    }
    return found;
  };
  const auto wrong = [](const tools::Diagnosis& diagnosis) {
    std::set<std::string> names;
    for (const auto& found : diagnosis.findings) {
      if (found.finding.severity != Severity::kNote) names.insert(found.finding.name);
    }
    return names;
  };
  const Recording healthy = Play(kConfig, desk, kHealthy);
  for (const Fault& fault : Faults()) {
    if (fault.config != kConfig || !fault.is_in_log || !fault.broken_file.empty()) continue;
    const std::set<std::string> expected =
        fault.name.empty() ? std::set<std::string>() : std::set<std::string>{fault.name};
    const Recording recording = Play(fault.config, desk, fault.steps);
    const std::string log = Render(recording.log, "threadtime");

    for (const bool is_big_endian : {false, true}) {
      std::string wide = is_big_endian ? "\xfe\xff" : "\xff\xfe";
      for (const char c : log) {
        wide += is_big_endian ? std::string{'\0', c} : std::string{c, '\0'};
      }
      EXPECT_EQ(wrong(Diagnose({wide}, {right})), expected) << "UTF-16";
    }

    // Line by line beside each other, by their times.
    std::vector<DeviceLine> both = recording.log;
    for (DeviceLine line : healthy.log) {
      line.process = 2042;
      line.us += 500;
      both.push_back(line);
    }
    std::stable_sort(both.begin(), both.end(),
                     [](const auto& a, const auto& b) { return a.us < b.us; });
    EXPECT_EQ(wrong(Diagnose({Render(both, "threadtime")}, {right})), expected) << "two engines";

    // In one process nothing tells them apart: what follows from that alone is no more than likely.
    for (DeviceLine& line : both) line.process = 1041;
    for (const auto& found : Diagnose({Render(both, "threadtime")}, {right}).findings) {
      EXPECT_TRUE(!found.is_certain || found.finding.severity == Severity::kNote ||
                  expected.count(found.finding.name) != 0)
          << fault.name << ": " << found.finding.message;
    }

    // Half an hour back in the middle: what was wrong stays so, and no time spans the jump.
    std::vector<DeviceLine> jumping = recording.log;
    for (size_t i = 0; i < jumping.size() / 2; ++i) jumping[i].us += 1800000000;
    const auto diagnosis = Diagnose({Render(jumping, "threadtime")}, {right});
    EXPECT_EQ(wrong(diagnosis), expected) << "clock";
    if (fault.name != "init-failed") {
      EXPECT_EQ(find(diagnosis, "clock-jump").size(), 1U);
    }
    for (const auto& found : diagnosis.findings) {
      EXPECT_EQ(found.finding.message.find(" -"), std::string::npos) << found.finding.message;
    }
  }
}

// Nothing that a log without its beginning lacks changes the order of what it has.
TEST_F(DiagnosedFaultsTest, StandInTheOrderOfALogThatBeginsLate) {
  for (const Fault& fault : Faults()) {
    const auto log = Play(fault.config, folder_.path("desk"), fault.steps).log;
    for (const char* const format : {"threadtime", "tag"}) {
      for (auto begin = log.begin(); begin != log.end(); ++begin) {
        const auto diagnosis = Diagnose({Render({begin, log.end()}, format)}, {});
        std::vector<uint32_t> numbers(diagnosis.material.entries.size());
        std::iota(numbers.begin(), numbers.end(), 0);
        std::vector<uint32_t> jumps;
        tools::PutInOrder(diagnosis.material, numbers, jumps);
        EXPECT_TRUE(std::is_sorted(numbers.begin(), numbers.end()))
            << fault.name << ", " << format << ", from line " << begin - log.begin();
      }
    }
  }
}

// What is written plays at the desk, and is the same configuration.
TEST_F(DiagnosedFaultsTest, PlayAgainAsWritten) {
  for (const Fault& fault : Faults()) {
    if (!fault.broken_file.empty()) continue;
    const std::string desk = folder_.path("desk");
    const Recording recording = Play(fault.config, desk, fault.steps);
    const auto texts = [](const Recording& one) {
      std::vector<std::string> found;
      for (const DeviceLine& line : one.log) found.push_back(line.text);
      return found;
    };
    for (const char* const format : {"threadtime", "time"}) {
      const auto diagnosis =
          Diagnose({Render(recording.log, format)}, {Source("right.conf", fault.config)});
      const std::string scenario = tools::WriteScenario(diagnosis);
      if (fault.name == "init-failed") continue;
      EXPECT_EQ(texts(Play(fault.config, desk, scenario)), texts(recording))
          << fault.name << ", " << format << ":\n"
          << scenario;
    }
    if (fault.name == "init-failed") continue;
    const auto dumped = Diagnose({recording.dump}, {});
    ASSERT_TRUE(dumped.recovered) << fault.name;
    const Recording recovered = Play(dumped.recovered->text, desk, fault.steps);
    EXPECT_EQ(recovered.bytes, recording.bytes) << dumped.recovered->text;
  }
}

}  // namespace

}  // namespace brelmo::tavi::test
