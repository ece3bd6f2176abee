#include <utility>

#include <gtest/gtest.h>

#include "UrlReference.h"

namespace site {

TEST(UrlReference, referencesResolveAgainstTheirBase) {
  const std::pair<const char*, const char*> cases[] = {
      {"../../../g/./h?y/../z#s", "http://a/g/h?y/../z#s"},
      {"?y", "http://a/b/c/d;p?y"},
      {"//g/x", "http://g/x"},
      {"演 示", "http://a/b/c/%e6%bc%94%20%e7%a4%ba"},
      {"https://e/b c?d='+|%20", "https://e/b%20c?d='+|%20"},
      {"http:g", ""},
  };
  for (const auto& [reference, resolved] : cases) EXPECT_EQ(resolvedUrl("http://a/b/c/d;p?q", reference), resolved);
  EXPECT_EQ(resolvedUrl("", "https://a/b/../c"), "https://a/c");
  EXPECT_EQ(resolvedUrl("", "g"), "");
}

TEST(UrlReference, onlyHttpWithAHostIsAWebAddress) {
  for (const char* const address : {"http://a", "HTTPS://a/b?c", "http://127.0.0.1:80/?u=file:///b"}) {
    EXPECT_TRUE(isWebAddress(address)) << address;
  }
  for (const char* const address : {"", "a", "//a/b", "http:", "http:///b", "http:b", "ftp://a", "file:///b"}) {
    EXPECT_FALSE(isWebAddress(address)) << address;
  }
}

}  // namespace site
