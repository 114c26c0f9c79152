#include <gtest/gtest.h>

#include "app/AppSettings.h"
#include "base/DefaultsStore.h"
#include "base/Uuid.h"

namespace murvelo {
namespace {

using Field = AppSettings::Field;

// One setting as text, as the settings command prints it.
std::string valueOf(const AppSettings& s, const std::string& key) {
  auto flag = [](bool on) { return std::string(on ? "true" : "false"); };
  if (key == "cleanupLevel") return std::string(rawValue(s.cleanupLevel()));
  if (key == "recordingMode") return std::string(rawValue(s.recordingMode()));
  if (key == "useDictationEngine") return flag(s.useDictationEngine());
  if (key == "betaUpload") return flag(s.betaUpload());
  return s.microphoneStartupHistory().samples.empty() ? "empty" : "samples";
}

TEST(AppSettingsTest, StoredValuesLoadWithTheirMigrations) {
  struct Case {
    nlohmann::json stored;  // one key
    std::string loaded;
    std::optional<std::string> writtenBack;  // what the store then holds, as text
  };
  const Case cases[] = {
      {{{"cleanupLevel", "rewrite"}}, "light", "light"},      // unknown
      {{{"useDictationEngine", true}}, "false", "true"},      // off until the launch resets it
      {{{"recordingMode", "Toggle"}}, "hold", std::nullopt},  // case-sensitive
      {{{"betaUpload", 0}}, "true", "true"},
      {{{"microphoneStartupHistory", {{"data", "bm90IGpzb24="}}}}, "empty", std::nullopt},  // undecodable
  };
  for (const Case& c : cases) {
    const std::string key = c.stored.begin().key();
    SCOPED_TRACE(c.stored.dump());
    InMemoryDefaultsStore store(c.stored);
    AppSettings settings(store);
    EXPECT_EQ(valueOf(settings, key), c.loaded);
    if (c.writtenBack) {
      auto flag = store.boolean(key);
      EXPECT_EQ(store.string(key).value_or(flag ? (*flag ? "true" : "false") : "?"), *c.writtenBack);
    }
  }
}

TEST(AppSettingsTest, MicrophoneSelectionComesFromTheOlderKeyOnlyWhenNeeded) {
  struct Case {
    nlohmann::json stored;
    MicrophoneSelection expected;
    std::optional<std::string> storedAfter;
  };
  const Case cases[] = {
      {nlohmann::json::object(), MicrophoneSelection::builtIn(), "built-in"},
      {{{"preferBuiltInMicForDictation", false}}, MicrophoneSelection::systemDefault(), "system"},
      {{{"dictationMicrophoneSelection", "device:usb-1"}, {"preferBuiltInMicForDictation", false}},
       MicrophoneSelection::device("usb-1"),
       "device:usb-1"},
      // An unreadable stored value falls back but stays as it is until the user chooses again.
      {{{"dictationMicrophoneSelection", "device:"}, {"preferBuiltInMicForDictation", false}},
       MicrophoneSelection::systemDefault(),
       "device:"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.stored.dump());
    InMemoryDefaultsStore store(c.stored);
    AppSettings settings(store);
    EXPECT_EQ(settings.microphoneSelection(), c.expected);
    EXPECT_EQ(store.string("dictationMicrophoneSelection"), c.storedAfter);
  }
}

TEST(AppSettingsTest, AssignmentsPersistAtOnceAndNotifyOnChange) {
  InMemoryDefaultsStore store;
  AppSettings settings(store);
  std::vector<Field> changes;
  auto id = settings.addObserver([&](Field field) { changes.push_back(field); });

  settings.setCleanupLevel(CleanupLevel::format);
  settings.setCleanupLevel(CleanupLevel::format);  // unchanged: written, no notification
  settings.recordMicrophoneStartup("alsa_input.usb", 120);
  settings.recordMicrophoneStartup("alsa_input.usb", 60001);  // not a start-up time: no change
  EXPECT_EQ(changes, (std::vector<Field>{Field::cleanupLevel, Field::microphoneStartupHistory}));
  settings.removeObserver(id);
  settings.setAutoPaste(false);
  EXPECT_EQ(changes.size(), 2u);

  AppSettings reloaded(store);
  EXPECT_EQ(reloaded.cleanupLevel(), CleanupLevel::format);
  EXPECT_FALSE(reloaded.autoPaste());
  EXPECT_EQ(reloaded.microphoneStartupHistory().median("alsa_input.usb"), 120);
  EXPECT_TRUE(isUuid(settings.deviceID()));
  EXPECT_EQ(reloaded.deviceID(), settings.deviceID());
}

}  // namespace
}  // namespace murvelo
