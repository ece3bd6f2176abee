#include <gtest/gtest.h>

#include "SCURL.h"
#include "ZRValue.h"

TEST(SCURL, parametersAreAppendedBeforeTheFragment) {
  const ZRDictionary query{{"site", 3}, {"q", "a b&c=é/+"}, {"gone", ZRValue::null()}};
  const std::string encoded = "site=3&q=a%20b%26c%3D%C3%A9%2F%2B";
  EXPECT_EQ(SCURL::build("http://h/p", query), "http://h/p?" + encoded);
  EXPECT_EQ(SCURL::build("http://h/p?", query), "http://h/p?" + encoded);
  EXPECT_EQ(SCURL::build("http://h/p?x=1", query), "http://h/p?x=1&" + encoded);
  EXPECT_EQ(SCURL::build("http://h/p?x=1&", query), "http://h/p?x=1&" + encoded);
  EXPECT_EQ(SCURL::build("http://h/p#f?g", query), "http://h/p?" + encoded + "#f?g");
  EXPECT_EQ(SCURL::build("http://h/p.m3u8&mkey=K", {}), "http://h/p.m3u8&mkey=K");
}

TEST(SCURL, onlyIllegalCharactersAreEscaped) {
  EXPECT_EQ(SCURL::build("http://[::1]:80/a%20b%zz;c,d?e=[f]&g='(h)'!*$@:~#i", {}),
            "http://[::1]:80/a%20b%zz;c,d?e=[f]&g='(h)'!*$@:~#i");
  EXPECT_EQ(SCURL::escapeIllegal(std::string_view("a b\"<>\\^`{|}\r\n\0\x7F中", 19)),
            "a%20b%22%3C%3E%5C%5E%60%7B%7C%7D%0D%0A%00%7F%E4%B8%AD");
}

TEST(SCURL, schemesAndHosts) {
  EXPECT_EQ(SCURL::scheme("HTTPS://h/"), "https");
  EXPECT_EQ(SCURL::scheme("mailto:x"), "mailto");
  for (const char* text : {"", ":", "p/q:r", "1a:b", "/p?u=http://h"}) EXPECT_EQ(SCURL::scheme(text), "") << text;
  for (const char* text : {"http://h", "HTTP://h/p", "https://u@h:1/?q"}) EXPECT_TRUE(SCURL::isHttp(text)) << text;
  for (const char* text : {"", "h/p", "//h/p", "http:", "http:/p", "http://", "http:///p", "http://?q", "ftp://h/"}) {
    EXPECT_FALSE(SCURL::isHttp(text)) << text;
  }
}

TEST(SCURL, theLogSeesNoKeys) {
  EXPECT_EQ(SCURL::forLog("https://me:pw@h:8080/p/q?mkey=K#f"), "https://h:8080/p/q");
  EXPECT_EQ(SCURL::forLog("http://h/p.m3u8&mkey=K"), "http://h/p.m3u8");
  EXPECT_EQ(SCURL::forLog("http://h/a@b"), "http://h/a@b");
  EXPECT_EQ(SCURL::forLog("no address?k"), "no address");
}
