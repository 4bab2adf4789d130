// How the library was built: more than a host may count on, which `tavi validate` has.
#include <cstdio>
#include <memory>
#include <regex>
#include <set>
#include <sstream>
#include <stdexcept>

#include <gmock/gmock.h>

#include "module_path.h"

namespace brelmo::tavi::test {
namespace {

using testing::HasSubstr;
using testing::Not;
using testing::UnorderedElementsAre;

constexpr bool kIsSanitized = sizeof(TAVI_SANITIZE) > 1;

std::string Inspect(const std::string& command) {
  const std::string line = "LC_ALL=C " + command + " '" + ModulePath() + "'";
  const auto close = [](FILE* file) { return pclose(file); };
  const std::unique_ptr<FILE, decltype(close)> output(popen(line.c_str(), "r"), close);
  if (output == nullptr) throw std::runtime_error("cannot run " + line);
  std::string text;
  for (int c = 0; (c = std::fgetc(output.get())) != EOF;) text += static_cast<char>(c);
  if (text.empty()) throw std::runtime_error("no output of " + line);
  return text;
}

TEST(Binary, NeedsTheHostFunctionsLibbaseAndTheRuntimesOnly) {
  if (kIsSanitized) GTEST_SKIP() << "the sanitizers' runtimes come in addition";
  // C++ library templates that libbase also has an instance of are bound to no version.
  const std::regex runtime(R"(.*@(GLIBC|GLIBCXX|CXXABI|GCC)_.*|_ZN?K?S[a-z].*)");
  const std::regex libbase("_ZNK?7android4base.*");
  std::istringstream table(Inspect("nm -D --undefined-only --with-symbol-versions --format=posix"));
  std::set<std::string> others;
  std::string name;
  std::string kind;
  for (std::string rest; table >> name >> kind && std::getline(table, rest);) {
    // Weak ones may stay unresolved: hooks of the start files.
    if (kind == "U" && !std::regex_match(name, runtime) && !std::regex_match(name, libbase)) {
      others.insert(name);
    }
  }
  EXPECT_THAT(
      others,
      UnorderedElementsAre(
          "audio_hal_calloc", "audio_hal_free", "event_allocate_common_event_client",
          "event_allocate_usecase_event_client", "event_free_common_event_client",
          "event_free_usecase_event_client", "sensor_registerHingeAngleSensorCallback",
          "sensor_deregisterHingeAngleSensorCallback", "sensor_registerProximitySensorCallback",
          "sensor_deregisterProximitySensorCallback"));
}

TEST(Binary, IsHardened) {
  const std::string dynamic = Inspect("readelf -W --dynamic");
  EXPECT_THAT(dynamic, HasSubstr("BIND_NOW"));
  EXPECT_THAT(dynamic, Not(HasSubstr("TEXTREL")));
  const std::string segments = Inspect("readelf -W --segments");
  EXPECT_THAT(segments, HasSubstr("GNU_RELRO"));
  EXPECT_TRUE(std::regex_search(segments, std::regex("GNU_STACK[^\n]* RW  "))) << segments;
  if (kIsSanitized || !TAVI_IS_HARDENED) GTEST_SKIP() << "not a release build";
  const std::string undefined = Inspect("nm -D --undefined-only");
  EXPECT_THAT(undefined, HasSubstr("__stack_chk_fail"));
  EXPECT_TRUE(std::regex_search(undefined, std::regex("__[a-z]+_chk@"))) << undefined;
  // Built without exceptions and run-time type information.
  EXPECT_THAT(undefined, Not(HasSubstr("__cxa_throw")));
  EXPECT_THAT(undefined, Not(HasSubstr("__gxx_personality")));
  EXPECT_THAT(undefined, Not(HasSubstr("_type_info")));
}

}  // namespace
}  // namespace brelmo::tavi::test
