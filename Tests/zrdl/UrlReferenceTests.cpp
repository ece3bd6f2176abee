#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "UrlReference.h"

namespace zrdl {

TEST(UrlReference, referencesResolveAgainstTheirBase) {
  // RFC 3986, section 5.4; of what comes out "http://a" is left out.
  const std::string base = "http://a/b/c/d;p?q";
  std::istringstream cases(R"(
      g             /b/c/g            ./            /b/c/             ..g           /b/c/..g
      ./g           /b/c/g            ..            /b/               ./../g        /b/g
      g/            /b/c/g/           ../g          /b/g              ./g/.         /b/c/g/
      /g            /g                ../..         /                 g/./h         /b/c/g/h
      ?y            /b/c/d;p?y        ../../g       /g                g/../h        /b/c/h
      g?y           /b/c/g?y          ../../../g    /g                g;x=1/./y     /b/c/g;x=1/y
      演示          /b/c/%e6%bc%94%e7%a4%ba ../../../../g /g                g;x=1/../y    /b/c/y
      g#s           /b/c/g#s          /./g          /g                g?y/./x       /b/c/g?y/./x
      g?y#s         /b/c/g?y#s        /../g         /g                g?y/../x      /b/c/g?y/../x
      ;x            /b/c/;x           g.            /b/c/g.           g#s/../x      /b/c/g#s/../x
      g;x?y#s       /b/c/g;x?y#s      .g            /b/c/.g
      .             /b/c/             g..           /b/c/g..)");
  for (std::string reference, resolved; cases >> reference >> resolved;) {
    EXPECT_EQ(resolvedUrl(base, reference), "http://a" + resolved) << reference;
  }
  EXPECT_EQ(resolvedUrl(base, "http:g"), "");
  EXPECT_EQ(resolvedUrl(base, "//g"), "http://g/");
  EXPECT_EQ(resolvedUrl("", "http://a/b c?d='+|%20"), "http://a/b%20c?d='+|%20");
  EXPECT_EQ(resolvedUrl("http://a", "g"), "http://a/g");
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

}  // namespace zrdl
