// tavi validate as a user runs it: what it refuses, what it says, and modules that crash or hang.
#include <algorithm>
#include <set>

#include <gmock/gmock.h>

#include "command.h"

namespace brelmo::tavi::test {

namespace {

using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;
using testing::StartsWith;

Outcome Validate(const Strings& more, const std::string& module = TAVI_MODULE_FILE) {
  Strings arguments = {"validate", module};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return RunTavi(arguments);
}

TEST(ValidateCommandTest, RefusesWhatItCannotUse) {
  const tools::ScratchFolder folder;
  const std::string library = ReadFile(TAVI_MODULE_FILE);
  folder.Write("text.so", "no library\n");
  folder.Write("cut.so", library.substr(0, 200));
  std::string foreign = library;
  constexpr size_t kMachine = 18;  // of an ELF header: two bytes
  foreign[kMachine] = '\x2a';
  foreign[kMachine + 1] = '\0';
  folder.Write("foreign.so", foreign);
  const struct {
    Strings arguments;
    std::string message;
  } cases[] = {
      {{"validate"}, "MODULE is required"},
      {{"validate", folder.path("none.so")}, "none.so: cannot be read: No such file"},
      {{"validate", folder.path("text.so")}, "text.so: is no ELF file"},
      {{"validate", folder.path("cut.so")}, "cut.so: has no dynamic symbol table"},
      {{"validate", folder.path("foreign.so")}, "foreign.so: is for another machine"},
      {{"validate", TAVI_OTHER_LIBRARY_FILE}, "does not export HAL_PLATFORM_EXT_AUD_MODULE"},
      {{"validate", TAVI_MODULE_FILE, "--only", "none.*"}, "--only: no test has such a name"},
      {{"validate", "--only", "threads", folder.path("text.so")}, "text.so: is no ELF file"},
      {{"validate", folder.path()}, "is no regular file"},
      {{"validate", TAVI_MODULE_FILE, "--jobs", "0"}, "--jobs"},
      {{"validate", TAVI_MODULE_FILE, "--format", "xml"}, "--format"},
      {{"stress"}, "MODULE is required"},
      {{"stress", folder.path("text.so"), "--seconds", "08", "--patience", "09"},
       "text.so: is no ELF file"},
  };
  for (const auto& [arguments, message] : cases) {
    const Outcome outcome = RunTavi(arguments);
    EXPECT_EQ(outcome.exit_code, 2) << message;
    EXPECT_THAT(outcome.err, HasSubstr(message));
    EXPECT_EQ(outcome.out, "") << message;
  }
}

TEST(ValidateCommandTest, ListsTests) {
  const Strings lines = Lines(RunTavi({"validate", "--list"}).out);
  std::set<std::string> names;
  for (const std::string& line : lines) names.insert(line.substr(0, line.find(' ')));
  EXPECT_EQ(names.size(), lines.size()) << "a name stands for two tests";
  EXPECT_GT(names.size(), 100U);
  EXPECT_THAT(Lines(RunTavi({"validate", "--list", "--only", "dump", "--only", "log.*"}).out),
              AllOf(Contains(StartsWith("dump.text ")), Contains(StartsWith("log.suppressed ")),
                    Not(Contains(StartsWith("init.")))));
  for (const auto& object : RunTavi({"validate", "--list", "--format", "json"}).Json()) {
    EXPECT_EQ(names.erase(object["name"]), 1U);
  }
  EXPECT_THAT(names, IsEmpty());
}

TEST(ValidateCommandTest, SaysOneLineOfAModuleThatHolds) {
  const Outcome quiet = Validate({"--only", "dump"});
  EXPECT_EQ(quiet.exit_code, 0);
  EXPECT_THAT(Lines(quiet.out), testing::ElementsAre(HasSubstr(" tests held (")));
  EXPECT_EQ(quiet.err, "") << "progress is for terminals";
  const Strings all = Lines(Validate({"--only", "dump", "--verbose"}).out);
  EXPECT_THAT(all, SizeIs(testing::Gt(5U)));
  EXPECT_THAT(all.front(), StartsWith("held    dump.text: The dump is exactly its text"));
  EXPECT_THAT(
      RunAtTerminal("NO_COLOR=1", {"validate", TAVI_MODULE_FILE, "--only", "dump.text"}, "").out,
      HasSubstr("\r\033[K1 of 1 test\r\033[K"));
}

TEST(ValidateCommandTest, NoNameInALibraryInstructsTheTerminal) {
  const tools::ScratchFolder folder;
  std::string library = ReadFile(TAVI_MODULE_FILE);
  const std::string name = "compensation_dump";
  const std::string odd = "compensation\033[1mp";
  ASSERT_EQ(odd.size(), name.size());
  for (size_t at = 0; (at = library.find(name, at)) != std::string::npos; ++at) {
    library.replace(at, name.size(), odd);
  }
  folder.Write("odd.so", library);
  const Outcome outcome = Validate({"--only", "library"}, folder.path("odd.so"));
  EXPECT_EQ(outcome.exit_code, 1);
  EXPECT_THAT(outcome.out,
              AllOf(HasSubstr("compensation\\x1b[1mp is defined"), Not(HasSubstr("\033"))));
}

TEST(ValidateCommandTest, JsonHasTheOrderOfTheList) {
  const Outcome outcome =
      Validate({"--only", "dump", "--only", "init", "--format", "json", "--jobs", "08"});
  EXPECT_EQ(outcome.exit_code, 0);
  auto objects = outcome.Json();
  ASSERT_THAT(objects, Not(IsEmpty()));
  const nlohmann::json total = objects.back();
  objects.pop_back();
  EXPECT_EQ(total["kind"], "total");
  EXPECT_EQ(total["held"], objects.size());
  Strings names;
  for (const auto& object : objects) {
    EXPECT_EQ(object["verdict"], "held");
    names.push_back(object["name"]);
  }
  Strings listed;
  for (const auto& object :
       RunTavi({"validate", "--list", "--only", "dump", "--only", "init", "--format", "json"})
           .Json()) {
    listed.push_back(object["name"]);
  }
  EXPECT_EQ(names, listed);
}

TEST(ValidateCommandTest, ACrashAndAHangAreResults) {
  const struct {
    const char* test;
    const char* verdict;
    const char* fault;
    const char* during;
    const char* thread;  // of the backtrace
  } cases[] = {
      {"hardening.null-text", "crashed", "SIGSEGV", "init with a null text", "control"},
      {"scenario.common-value-first", "crashed", "signal", "announce 5", nullptr},
      {"dump.text", "hung", "did not return", "announce 6", "common"},
  };
  for (const auto& [test, verdict, fault, during, thread] : cases) {
    const Outcome outcome =
        Validate({"--only", test, "--format", "json", "--patience", "1"}, TAVI_DYING_MODULE_FILE);
    EXPECT_EQ(outcome.exit_code, 1) << test;
    const auto objects = outcome.Json();
    ASSERT_THAT(objects, SizeIs(2));
    EXPECT_EQ(objects[0]["verdict"], verdict) << test;
    EXPECT_THAT(objects[0]["faults"].dump(), HasSubstr(fault));
    EXPECT_EQ(objects[0]["during"], during);
    EXPECT_EQ(objects[1]["failed"], nlohmann::json::array({test}));
    if (thread == nullptr) continue;
    EXPECT_THAT(objects[0]["output"].dump(),
                AllOf(HasSubstr(std::string("backtrace of thread \\\"") + thread + "\\\""),
                      HasSubstr(TAVI_DYING_MODULE_FILE)));
  }
  // For people: the threads that have the module in their backtrace.
  const Outcome text = Validate({"--only", "dump.text", "--patience", "1"}, TAVI_DYING_MODULE_FILE);
  EXPECT_THAT(text.out, AllOf(StartsWith("HUNG "), HasSubstr("did not return from: announce 6"),
                              HasSubstr("backtrace of thread \"common\""),
                              Not(HasSubstr("\"sensor\"")), EndsWith(")\n")));
}

TEST(ValidateCommandTest, OfALibraryThatNoHostTakesTheFileIsJudged) {
  const Outcome outcome = Validate({"--format", "json"}, TAVI_FOREIGN_MODULE_FILE);
  EXPECT_EQ(outcome.exit_code, 1);
  const auto total = outcome.Json().back();
  EXPECT_THAT(total["failed"].get<Strings>(), Contains("descriptor.bytes"));
  EXPECT_GT(total["not_run"], 100);
  EXPECT_THAT(total["why_not_run"].get<std::string>(), HasSubstr("version 67"));
  EXPECT_THAT(Validate({}, TAVI_FOREIGN_MODULE_FILE).out, HasSubstr("tests not run: "));
}

}  // namespace

}  // namespace brelmo::tavi::test
