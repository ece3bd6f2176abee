#include <gtest/gtest.h>

#include "TemporaryFolder.h"
#include "ZRBase64.h"

namespace {

std::string decoded(std::string_view text) {
  const std::vector<std::uint8_t> bytes = ZRBase64::decode(text);
  return {bytes.begin(), bytes.end()};
}

std::string inLines(const std::string& text) {
  return ZRBase64::encodeInLines(std::vector<std::uint8_t>(text.begin(), text.end()));
}

}  // namespace

TEST(ZRBase64, encodesTheVectorsOfRFC4648) {
  const std::string_view plain = "foobar";
  const char* const encoded[] = {"", "Zg==", "Zm8=", "Zm9v", "Zm9vYg==", "Zm9vYmE=", "Zm9vYmFy"};
  for (std::size_t size = 0; size <= plain.size(); ++size) {
    EXPECT_EQ(ZRBase64::encode(plain.substr(0, size)), encoded[size]);
    EXPECT_EQ(decoded(encoded[size]), plain.substr(0, size));
  }
  EXPECT_EQ(ZRBase64::encode(std::string_view("\xFB\xEF\xFF")), "++//");
  EXPECT_EQ(decoded("++//"), "\xFB\xEF\xFF");
}

TEST(ZRBase64, breaksLinesAfter64CharactersButNotAtTheEnd) {
  const std::string line = ZRBase64::encode(patternBytes(48));
  EXPECT_EQ(inLines(patternBytes(48)), line);
  EXPECT_EQ(inLines(patternBytes(48) + "f"), line + "\r\nZg==");
  EXPECT_EQ(decoded(inLines(patternBytes(1000))), patternBytes(1000));
}

TEST(ZRBase64, decodingSkipsWhatIsOutsideTheAlphabet) {
  EXPECT_EQ(decoded(" Zm\r\n9v-_\xFFYg"), "foob") << "padding may be missing";
  EXPECT_EQ(decoded("Zg==Zg=="), "f\x06\x60") << "padding in the middle is skipped like any other character";
  EXPECT_EQ(decoded("Zm9vY"), "") << "one character of a group encodes nothing";
  EXPECT_EQ(decoded("===="), "");
}
