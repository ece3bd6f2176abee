#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "UrlReference.h"

namespace zrdl {

// RFC 3986, section 5.4.
TEST(UrlReference, referencesResolveAgainstTheirBase) {
  const std::vector<std::pair<std::string, std::string>> cases{
      {"g:h", "g:h"},
      {"g", "http://a/b/c/g"},
      {"./g", "http://a/b/c/g"},
      {"g/", "http://a/b/c/g/"},
      {"/g", "http://a/g"},
      {"//g", "http://g"},
      {"?y", "http://a/b/c/d;p?y"},
      {"g?y", "http://a/b/c/g?y"},
      {"#s", "http://a/b/c/d;p?q#s"},
      {"g#s", "http://a/b/c/g#s"},
      {"g?y#s", "http://a/b/c/g?y#s"},
      {";x", "http://a/b/c/;x"},
      {"g;x?y#s", "http://a/b/c/g;x?y#s"},
      {"", "http://a/b/c/d;p?q"},
      {".", "http://a/b/c/"},
      {"./", "http://a/b/c/"},
      {"..", "http://a/b/"},
      {"../g", "http://a/b/g"},
      {"../..", "http://a/"},
      {"../../g", "http://a/g"},
      {"../../../g", "http://a/g"},
      {"../../../../g", "http://a/g"},
      {"/./g", "http://a/g"},
      {"/../g", "http://a/g"},
      {"g.", "http://a/b/c/g."},
      {".g", "http://a/b/c/.g"},
      {"g..", "http://a/b/c/g.."},
      {"..g", "http://a/b/c/..g"},
      {"./../g", "http://a/b/g"},
      {"./g/.", "http://a/b/c/g/"},
      {"g/./h", "http://a/b/c/g/h"},
      {"g/../h", "http://a/b/c/h"},
      {"g;x=1/./y", "http://a/b/c/g;x=1/y"},
      {"g;x=1/../y", "http://a/b/c/y"},
      {"g?y/./x", "http://a/b/c/g?y/./x"},
      {"g?y/../x", "http://a/b/c/g?y/../x"},
      {"g#s/../x", "http://a/b/c/g#s/../x"},
      {"http:g", "http:g"},
  };
  for (const auto& [reference, resolved] : cases) {
    EXPECT_EQ(resolvedUrl("http://a/b/c/d;p?q", reference), resolved) << reference;
  }
  EXPECT_EQ(resolvedUrl("http://a", "g"), "http://a/g");
  EXPECT_EQ(resolvedUrl("", "https://a/b/../c"), "https://a/c");
  EXPECT_EQ(resolvedUrl("", "g"), "g");
}

TEST(UrlReference, onlyHttpWithAHostIsAWebAddress) {
  for (const char* const address : {"http://a", "HTTPS://a/b?c", "http://127.0.0.1:80/"}) {
    EXPECT_TRUE(isWebAddress(address)) << address;
  }
  for (const char* const address : {"", "a", "//a/b", "http:", "http:///b", "http:b", "ftp://a", "file:///b"}) {
    EXPECT_FALSE(isWebAddress(address)) << address;
  }
}

}  // namespace zrdl
