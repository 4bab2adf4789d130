#include "tokenize.h"

#include <gmock/gmock.h>

namespace brelmo::tavi::test {
namespace {

TEST(Tokenize, SplitsAtEveryDelimiterAndDropsEmptyTokens) {
  const struct {
    const char* text;
    const char* delimiters;
    std::vector<std::string> tokens;
  } rows[] = {
      {"", ",", {}},
      {",,", ",", {}},
      {"a", ",", {"a"}},
      {",a,,bc,", ",", {"a", "bc"}},
      {"a b;c ;d", "; ", {"a", "b", "c", "d"}},
      {"a\tb", " ", {"a\tb"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.text);
    EXPECT_EQ(android::base::Tokenize(row.text, row.delimiters), row.tokens);
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
