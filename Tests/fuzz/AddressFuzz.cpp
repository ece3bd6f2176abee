// Addresses that a server or a host gives. The first line is the address, the second a reference seen from there.

#include "Fuzz.h"
#include "SCAddress.h"
#include "SCURL.h"
#include "UrlReference.h"
#include "ZRValue.h"

void fuzz(std::string_view input) {
  const std::string text(takeLine(input));
  const std::string reference(takeLine(input));
  const std::string built = SCURL::build(text, {{"a", reference}, {"n", 5}});
  expect(SCURL::escapeIllegal(built) == built, "what was built holds no illegal character");
  expect(SCURL::forLog(text).find('?') == std::string::npos, "no query reaches the log");
  expect(SCURL::headerLine(text, reference).find_first_of(std::string_view("\r\n\0", 3)) == std::string::npos,
         "a field is one line");
  (void)site::resolvedUrl(text, reference);
  const auto parsed = SCAddress::parse(text);
  const auto* const address = std::get_if<SCAddress>(&parsed);
  if (address == nullptr) return;
  const auto isSettled = [](const SCAddress& one) {
    const auto again = SCAddress::parse(one.text);
    const auto* const same = std::get_if<SCAddress>(&again);
    return same != nullptr && same->text == one.text && same->origin() == one.origin();
  };
  expect(isSettled(*address), "an address that was read is read the same again");
  const auto target = address->resolve(reference);
  if (const auto* const to = std::get_if<SCAddress>(&target)) expect(isSettled(*to), "so is where a redirect leads");
}
