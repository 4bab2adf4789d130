// Postures, excerpts and odd bytes as people read them.
#include "console/wording.h"

#include <gtest/gtest.h>

#include "check/posture_text.h"
#include "console/excerpt.h"

namespace brelmo::tavi::test {
namespace {

using tools::Excerpt;
using tools::MakeExcerpt;
using tools::Posture;

TEST(WordingTest, Bytes) {
  EXPECT_EQ(tools::Printable("a\tb\r\n\x1b[0m\x7f"), "a\\tb\\r\\n\\x1b[0m\\x7f");
  EXPECT_EQ(tools::Printable(std::string("a\0b", 3)), "a\\x00b");
  EXPECT_EQ(tools::Printable("\xc3\xa9"), "\xc3\xa9");
  // Cut short, not UTF-8, an overlong form, a mark without width, a direction override.
  EXPECT_EQ(tools::Printable("\xc3"), "\\xc3");
  EXPECT_EQ(tools::Printable("\xff\xfe"), "\\xff\\xfe");
  EXPECT_EQ(tools::Printable("\xc0\xaf"), "\\xc0\\xaf");
  EXPECT_EQ(tools::Printable("\xcc\x81"), "\\xcc\\x81");
  EXPECT_EQ(tools::Printable("\xe2\x80\xae"), "\\xe2\\x80\\xae");
  EXPECT_EQ(tools::Quote(std::string(60, 'a')), '"' + std::string(60, 'a') + '"');
  EXPECT_EQ(tools::Quote(std::string(61, 'a')), '"' + std::string(60, 'a') + "…\"");
}

TEST(WordingTest, Numbers) {
  EXPECT_EQ(tools::CaseNumbers({4}), "case 4");
  EXPECT_EQ(tools::CaseNumbers({0, 1}), "cases 0 and 1");
  EXPECT_EQ(tools::CaseNumbers({0, 2, 3, 4, 7, 8}), "cases 0, 2 to 4, 7 and 8");
}

// The postures whose angle is in one of the ranges and whose rotation is one of these; a range from
// -1 takes in the time before the first reading.
std::string Describe(const std::vector<std::pair<int, int>>& ranges, std::vector<int> rotations,
                     const std::vector<Posture>& more = {}) {
  std::vector<Posture> postures = more;
  for (const Posture& posture : tools::AllPostures()) {
    const int angle = posture.hinge_angle.value_or(-1);
    for (const auto& [low, high] : ranges) {
      if (low <= angle && angle <= high &&
          std::find(rotations.begin(), rotations.end(), posture.rotation) != rotations.end()) {
        postures.push_back(posture);
      }
    }
  }
  return tools::DescribePostures(postures);
}

TEST(WordingTest, Postures) {
  const std::vector<int> any = {0, 90, 180, 270};
  EXPECT_EQ(Describe({{-1, 180}}, any), "every posture");
  EXPECT_EQ(Describe({{-1, -1}}, any), "before the first hinge reading");
  EXPECT_EQ(Describe({{-1, -1}}, {90}), "before the first hinge reading at rotation 90");
  EXPECT_EQ(Describe({{-1, 180}}, {270, 90}), "rotation 90 and 270 whatever the hinge angle");
  EXPECT_EQ(Describe({{0, 180}}, any), "hinge angle 0 to 180");
  EXPECT_EQ(Describe({{7, 7}, {10, 11}, {20, 22}}, {0}),
            "hinge angle 7, 10, 11 and 20 to 22 at rotation 0");
  EXPECT_EQ(Describe({{-1, 20}, {171, 180}}, {0, 90, 180}, {{20, 270}, {100, 0}}),
            "hinge angle 0 to 19 and 171 to 180 at rotation 0, 90 and 180; hinge angle 20; "
            "hinge angle 100 at rotation 0; "
            "before the first hinge reading at rotation 0, 90 and 180");
}

void ExpectExcerpt(const Excerpt& excerpt, const std::string& text, const std::string& marker) {
  EXPECT_EQ(excerpt.text, text);
  EXPECT_EQ(excerpt.marker, marker);
}

TEST(ExcerptTest, MarksThePlace) {
  ExpectExcerpt(MakeExcerpt("abcdef", 2, 3, 20), "abcdef", "  ^~~");
  ExpectExcerpt(MakeExcerpt("abcdef", 2, 0, 20), "abcdef", "  ^");
  ExpectExcerpt(MakeExcerpt("abc", 3, 0, 20), "abc", "   ^");
  ExpectExcerpt(MakeExcerpt("", 0, 0, 20), "", "^");
  // Characters take the columns that they are shown in.
  ExpectExcerpt(MakeExcerpt("\t\xc3\xa9\xff:\r", 4, 2, 20), "\\t\xc3\xa9\\xff:\\r", "       ^~~");
}

TEST(ExcerptTest, ShowsAWindowOfALongLine) {
  const std::string line = "0123456789abcdefghijklmnopqrstuvwxyz";
  ExpectExcerpt(MakeExcerpt(line, 0, 2, 12), "0123456789ab…", "^~");
  ExpectExcerpt(MakeExcerpt(line, 18, 2, 12), "…efghijklmnop…", "     ^~");
  ExpectExcerpt(MakeExcerpt(line, 34, 2, 12), "…opqrstuvwxyz", "           ^~");
  ExpectExcerpt(MakeExcerpt(line, 18, 18, 12), "…efghijklmnop…", "     ^~~~~~~~");
  ExpectExcerpt(MakeExcerpt(line, 0, 36, 36), line, "^" + std::string(35, '~'));
  // Much further in than the window is wide, among characters of several bytes.
  std::string accents;
  for (int i = 0; i < 1000; ++i) accents += "\xc3\xa9";
  ExpectExcerpt(MakeExcerpt(accents + "x" + accents, accents.size(), 1, 3), "…\xc3\xa9x\xc3\xa9…",
                "  ^");
}

}  // namespace
}  // namespace brelmo::tavi::test
