// tavi render: from files to a file.
#include <sys/resource.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include <string>

#include <gmock/gmock.h>

#include "command.h"

namespace brelmo::tavi::test {
namespace {

using testing::HasSubstr;
using testing::Not;

// A call on the open device, upright.
constexpr const char* kAnsweredCall = "hinge 170\nrotation 0\nannounce 5\nstart 6\n";

class RenderCommandTest : public testing::Test {
 protected:
  // A WAV of one channel, 16 bit.
  void Input(uint32_t rate, const std::vector<int16_t>& samples) const {
    const auto size = static_cast<uint32_t>(2 * samples.size());
    const uint32_t header[] = {0x46464952, size + 36, 0x45564157, 0x20746d66, 16,  0x10001,
                               rate,       2 * rate,  0x100002,   0x61746164, size};
    std::string bytes(reinterpret_cast<const char*>(header), sizeof(header));
    bytes.append(reinterpret_cast<const char*>(samples.data()), size);
    folder_.Write("in.wav", bytes);
  }
  static std::vector<int16_t> Noise(size_t count) {
    std::vector<int16_t> samples(count);
    uint32_t state = 1;
    for (int16_t& sample : samples) {
      state = state * 1664525 + 1013904223;
      sample = static_cast<int16_t>(static_cast<int32_t>(state) >> 18);
    }
    return samples;
  }

  Outcome Render(const std::string& scenario, const Strings& more = {},
                 const std::string& output = "out.wav") const {
    folder_.Write("a.scenario", scenario);
    Strings arguments = {"render",
                         "--config",
                         std::string(TAVI_EXAMPLE_DATA_FOLDER) + "/../device.conf",
                         "--data-root",
                         TAVI_EXAMPLE_DATA_FOLDER,
                         "--scenario",
                         folder_.path("a.scenario"),
                         "--input",
                         folder_.path("in.wav"),
                         "--force",
                         "-o",
                         folder_.path(output)};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return RunTavi(arguments);
  }
  std::string Out() const { return ReadFile(folder_.path("out.wav")); }

  tools::ScratchFolder folder_;
};

TEST_F(RenderCommandTest, AnImpulseGivesTheDataFilesAgain) {
  std::vector<int16_t> impulse(512);
  impulse[0] = 16384;  // half of full scale
  Input(48000, impulse);
  const Outcome outcome = Render(kAnsweredCall, {"--dsp", "ideal", "--bits", "float"});
  EXPECT_EQ(outcome.exit_code, 0) << outcome.out << outcome.err;
  EXPECT_THAT(outcome.out, HasSubstr("case 4"));
  for (const char* const channel : {"1", "2"}) {
    const std::string made = folder_.path("made.txt");
    EXPECT_EQ(RunTavi({"import", folder_.path("out.wav"), "--channel", channel, "--gain",
                       "6.020599913279624", "--force", "-o", made})
                  .exit_code,
              0);
    const Strings expected = Lines(ReadFile(
        TAVI_EXAMPLE_DATA_FOLDER +
        std::string(*channel == '1' ? "/spk_portrait_left.txt" : "/spk_portrait_right.txt")));
    const Strings actual = Lines(ReadFile(made));
    ASSERT_EQ(actual.size(), expected.size());
    for (size_t i = 0; i < actual.size(); ++i) {
      for (const size_t part : {0U, 1U}) {
        const auto value = [part](const std::string& line) {
          return std::stod(part == 0 ? line : line.substr(line.find(',') + 1));
        };
        EXPECT_NEAR(value(actual[i]), value(expected[i]), 1e-6) << "bin " << i;
      }
    }
  }
}

TEST_F(RenderCommandTest, ARefusedWriteLeavesTheOldResponseAudible) {
  Input(48000, Noise(120000));
  const std::string call = kAnsweredCall;
  const Outcome stays = Render(call + "play 0.5\n");
  const std::string expected = Out();
  const Outcome refused = Render(call + "play 0.5\ndsp refuse 1 -5\nrotation 90\nexpect case 4\n");
  EXPECT_EQ(refused.exit_code, 0) << refused.out;
  EXPECT_THAT(refused.out, HasSubstr("refused with -5"));
  EXPECT_EQ(Out(), expected);
  // By turns with itself it is the same, too, however it is named.
  const std::string root = TAVI_EXAMPLE_DATA_FOLDER;
  for (const Strings& itself :
       {Strings{root + "/.."}, Strings{root + "/../device.conf", "--old-root", root}}) {
    Strings arguments = {"--turns", "1", "--against"};
    arguments.insert(arguments.end(), itself.begin(), itself.end());
    EXPECT_EQ(Render(call + "play 0.5\n", arguments).exit_code, 0);
    EXPECT_EQ(Out(), expected);
  }
  // A folder of data files has no configuration, and without its data files one would be flat.
  EXPECT_EQ(Render(call, {"--against", root}).exit_code, 2);
  EXPECT_EQ(Render(call, {"--against", root + "/../device.conf", "--old-root", folder_.path("")})
                .exit_code,
            2);
  EXPECT_EQ(Out(), expected);
  // The same bytes are made again, and others where the DSP takes the write.
  const Outcome taken = Render(call + "play 0.5\nrotation 90\nexpect case 4\n");
  EXPECT_EQ(taken.exit_code, 1) << "an expectation is not met";
  EXPECT_EQ(Out().substr(0, 90000), expected.substr(0, 90000));
  EXPECT_NE(Out(), expected);
  EXPECT_EQ(stays.exit_code, 0);
  EXPECT_THAT(stays.out, Not(HasSubstr("case 5")));
}

TEST_F(RenderCommandTest, TheSameInputsGiveTheSamePageToListenTo) {
  std::string pages[3];
  for (std::string& page : pages) {
    // The last one hears something else.
    Input(48000, Noise(&page == &pages[2] ? 24000 : 30000));
    const std::string file = folder_.path("page.html");
    const Outcome outcome =
        RunTavi({"report", "--config", std::string(TAVI_EXAMPLE_DATA_FOLDER) + "/../device.conf",
                 "--data-root", TAVI_EXAMPLE_DATA_FOLDER, "--listen", folder_.path("in.wav"), "-o",
                 file, "--force"});
    EXPECT_EQ(outcome.exit_code, 0) << outcome.err;
    page = ReadFile(file);
  }
  EXPECT_TRUE(pages[0] == pages[1]);
  EXPECT_FALSE(pages[0] == pages[2]);
}

TEST_F(RenderCommandTest, SaysWhatClipsAndKeepsItsInputs) {
  std::vector<int16_t> loud(4800);
  for (size_t i = 0; i < loud.size(); ++i) loud[i] = i / 20 % 2 == 0 ? 32000 : -32000;
  Input(48000, loud);
  const Outcome outcome = Render(kAnsweredCall);
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out, HasSubstr("--normalise peak"));
  EXPECT_EQ(Render(kAnsweredCall, {"--normalise", "peak"}).exit_code, 0);
  const std::string in = ReadFile(folder_.path("in.wav"));
  EXPECT_EQ(Render(kAnsweredCall, {}, "in.wav").exit_code, 2);
  EXPECT_EQ(ReadFile(folder_.path("in.wav")), in);
  folder_.Write("in.wav", "no audio");
  const std::string before = Out();
  const Outcome unreadable = Render(kAnsweredCall);
  EXPECT_EQ(unreadable.exit_code, 2);
  EXPECT_THAT(unreadable.err, HasSubstr("cannot be read as audio"));
  EXPECT_EQ(Out(), before) << "nothing is lost";
}

#ifndef TAVI_SANITIZED  // whose memory is its own
TEST_F(RenderCommandTest, TenMinutesTakeTheMemoryOfTenSeconds) {
  const auto most_kib = [] {
    rusage usage{};
    getrusage(RUSAGE_CHILDREN, &usage);
    return usage.ru_maxrss;
  };
  const Strings slow = {"--rate", "8000"};
  // What this process has counts for those that it starts: as much for both.
  const std::vector<int16_t> samples = Noise(size_t{8000} * 600);
  Input(8000, samples);
  Input(8000, {samples.begin(), samples.begin() + 80000});
  EXPECT_NE(Render(kAnsweredCall, slow).exit_code, 2);
  const long before = most_kib();
  Input(8000, samples);
  EXPECT_NE(Render(kAnsweredCall, slow).exit_code, 2);
  EXPECT_LT(most_kib() - before, 4096) << "as floats it is 18 MiB a channel";
}
#endif

}  // namespace
}  // namespace brelmo::tavi::test
