#include <gtest/gtest.h>

#include <set>

#include "base/Base64.h"
#include "base/Diagnostics.h"
#include "base/TextTrim.h"
#include "base/Uuid.h"

namespace murvelo {
namespace {

TEST(Base64Test, RoundTripsAndRejectsMalformedText) {
  const std::pair<std::string, std::string> cases[] = {
      {"", ""},        {"f", "Zg=="},          {"fo", "Zm8="},
      {"foo", "Zm9v"}, {"foobar", "Zm9vYmFy"}, {std::string("\0\xff", 2), "AP8="}};
  for (const auto& [raw, text] : cases) {
    std::vector<std::uint8_t> bytes(raw.begin(), raw.end());
    EXPECT_EQ(base64Encode(bytes), text);
    EXPECT_EQ(base64Decode(text), bytes);
  }
  for (const char* bad : {"Zg=", "Z===", "Zg=a", "Zm9v!A==", "=Zm9"}) EXPECT_FALSE(base64Decode(bad)) << bad;
}

TEST(UuidTest, RandomVersionFourUuidsAreWellFormedAndDistinct) {
  std::set<std::string> seen;
  for (int i = 0; i < 200; ++i) {
    std::string id = makeUuid();
    ASSERT_TRUE(isUuid(id) && id[14] == '4' && std::string("89AB").find(id[19]) != std::string::npos) << id;
    seen.insert(id);
  }
  EXPECT_EQ(seen.size(), 200u);
  EXPECT_FALSE(isUuid("4C2B758C_0BB0-42D7-9EDC-71B057AE765B"));
}

TEST(TextTrimTest, TrimsUnicodeSpaceAndLineBreaksOnly) {
  const std::pair<const char*, const char*> cases[] = {{"  hello \n", "hello"}, {"\t\r\n", ""},
                                                       {"\u00a0x\u2028", "x"},  {"\u3000 a b \u2003", "a b"},
                                                       {"\xff ", "\xff"},       {"", ""}};
  for (const auto& [in, out] : cases) EXPECT_EQ(trimWhitespaceAndNewlines(in), out) << in;
}

TEST(DiagnosticsTest, KeepsOnlyTheNewestEvents) {
  Diagnostics ring(3);
  for (int i = 0; i < 5; ++i) ring.record("audio", "event" + std::to_string(i));
  auto events = ring.snapshot();
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events.front().name, "event2");
  EXPECT_EQ(events.back().name, "event4");
}

}  // namespace
}  // namespace murvelo
