#include <gtest/gtest.h>
#include <linux/input.h>
#include <unistd.h>

#include <utility>
#include <vector>

#include "delivery/uinput/UinputKeyPoster.h"

namespace murvelo {
namespace {

using Key = std::pair<int, int>;  // code, value

// Reads back what was written: each key event followed by its sync report.
std::vector<Key> readChord(int fd) {
  std::vector<Key> keys;
  input_event pair[2];
  ssize_t got = 0;
  while ((got = read(fd, pair, sizeof pair)) == static_cast<ssize_t>(sizeof pair)) {
    EXPECT_EQ(pair[0].type, EV_KEY);
    EXPECT_EQ(pair[1].type, EV_SYN);
    keys.emplace_back(pair[0].code, pair[0].value);
  }
  EXPECT_EQ(got, 0) << "the last key event has no sync report";
  return keys;
}

TEST(UinputKeyPoster, WritesPressesThenReleasesInReverse) {
  struct Case {
    PasteKey key;
    std::vector<Key> expected;
  };
  const Case cases[] = {
      {PasteKey::ctrlV, {{KEY_LEFTCTRL, 1}, {KEY_V, 1}, {KEY_V, 0}, {KEY_LEFTCTRL, 0}}},
      {PasteKey::ctrlShiftV,
       {{KEY_LEFTCTRL, 1},
        {KEY_LEFTSHIFT, 1},
        {KEY_V, 1},
        {KEY_V, 0},
        {KEY_LEFTSHIFT, 0},
        {KEY_LEFTCTRL, 0}}},
  };
  for (const auto& c : cases) {
    int fds[2];
    ASSERT_EQ(pipe(fds), 0);
    EXPECT_EQ(writePasteChord(fds[1], c.key), static_cast<int>(c.expected.size()));
    close(fds[1]);
    EXPECT_EQ(readChord(fds[0]), c.expected);
    close(fds[0]);
  }
}

TEST(UinputKeyPoster, ClosedDeviceWritesNothingAndUnwritableDeviceMayNotPost) {
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  close(fds[0]);
  signal(SIGPIPE, SIG_IGN);
  EXPECT_EQ(writePasteChord(fds[1], PasteKey::ctrlV), 0);
  close(fds[1]);

  auto poster = UinputKeyPoster::open("/nonexistent/uinput");
  ASSERT_TRUE(poster);
  EXPECT_FALSE(poster->mayPostEvents());
  EXPECT_EQ(poster->postPasteChord(PasteKey::ctrlV), 0);
}

}  // namespace
}  // namespace murvelo
