#include <gtest/gtest.h>
#include <linux/input.h>
#include <unistd.h>

#include <vector>

#include "delivery/uinput/UinputKeyPoster.h"

namespace murvelo {
namespace {

struct Key {
  int code;
  int value;
  bool operator==(const Key&) const = default;
};

// Reads back what was written, checking that a sync report follows every key event.
std::vector<Key> readChord(int fd) {
  std::vector<Key> keys;
  input_event event{};
  bool expectSync = false;
  while (read(fd, &event, sizeof event) == static_cast<ssize_t>(sizeof event)) {
    if (expectSync) {
      EXPECT_EQ(event.type, EV_SYN);
      expectSync = false;
      continue;
    }
    EXPECT_EQ(event.type, EV_KEY);
    keys.push_back({event.code, event.value});
    expectSync = true;
  }
  EXPECT_FALSE(expectSync) << "the last key event has no sync report";
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
