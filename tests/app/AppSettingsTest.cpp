#include <gtest/gtest.h>

#include "app/AppSettings.h"
#include "base/DefaultsStore.h"
#include "base/Uuid.h"

namespace murvelo {
namespace {

using Field = AppSettings::Field;

TEST(AppSettingsTest, FreshDomainGetsDefaultsAndWritesTheNormalisedKeys) {
  InMemoryDefaultsStore store;
  AppSettings settings(store);
  EXPECT_EQ(settings.cleanupLevel(), CleanupLevel::light);
  EXPECT_EQ(settings.hotkey(), HotkeyChoice::rightOption);
  EXPECT_EQ(settings.recordingMode(), RecordingMode::hold);
  EXPECT_FALSE(settings.onboardingComplete());
  EXPECT_FALSE(settings.onboardingFinished());
  EXPECT_TRUE(settings.autoPaste());
  EXPECT_FALSE(settings.useDictationEngine());
  EXPECT_FALSE(settings.developerToolsVocabularyEnabled());
  EXPECT_TRUE(settings.betaUpload());
  EXPECT_TRUE(settings.openAtLogin());
  EXPECT_EQ(settings.microphoneSelection(), MicrophoneSelection::builtIn());
  EXPECT_TRUE(settings.microphoneStartupHistory().samples.empty());
  EXPECT_TRUE(isUuid(settings.deviceID()));

  std::vector<std::string> keys = store.keys();
  std::sort(keys.begin(), keys.end());
  EXPECT_EQ(keys, (std::vector<std::string>{"betaUpload", "cleanupLevel", "deviceID",
                                            "dictationMicrophoneSelection", "openAtLogin"}));
  EXPECT_EQ(store.string("cleanupLevel"), "light");
  EXPECT_EQ(store.string("dictationMicrophoneSelection"), "built-in");
  EXPECT_EQ(store.string("deviceID"), settings.deviceID());
}

TEST(AppSettingsTest, StoredValuesLoadWithTheirMigrations) {
  struct Case {
    const char* name;
    nlohmann::json stored;
    std::function<void(const AppSettings&, const DefaultsStore&)> check;
  };
  const Case cases[] = {
      {"medium migrates to format, written back",
       {{"cleanupLevel", "medium"}},
       [](const AppSettings& s, const DefaultsStore& d) {
         EXPECT_EQ(s.cleanupLevel(), CleanupLevel::format);
         EXPECT_EQ(d.string("cleanupLevel"), "format");
       }},
      {"unknown level loads as light, written back",
       {{"cleanupLevel", "rewrite"}},
       [](const AppSettings& s, const DefaultsStore& d) {
         EXPECT_EQ(s.cleanupLevel(), CleanupLevel::light);
         EXPECT_EQ(d.string("cleanupLevel"), "light");
       }},
      {"valid level kept",
       {{"cleanupLevel", "none"}},
       [](const AppSettings& s, const DefaultsStore&) { EXPECT_EQ(s.cleanupLevel(), CleanupLevel::none); }},
      {"useDictationEngine starts false; the stored value is the launch's to reset",
       {{"useDictationEngine", true}},
       [](const AppSettings& s, const DefaultsStore& d) {
         EXPECT_FALSE(s.useDictationEngine());
         EXPECT_EQ(d.boolean("useDictationEngine"), true);
       }},
      {"recordingMode is case-sensitive",
       {{"recordingMode", "Toggle"}},
       [](const AppSettings& s, const DefaultsStore&) { EXPECT_EQ(s.recordingMode(), RecordingMode::hold); }},
      {"toggle",
       {{"recordingMode", "toggle"}},
       [](const AppSettings& s, const DefaultsStore&) {
         EXPECT_EQ(s.recordingMode(), RecordingMode::toggle);
       }},
      {"autoPaste as a string loads as true",
       {{"autoPaste", "false"}},
       [](const AppSettings& s, const DefaultsStore&) { EXPECT_TRUE(s.autoPaste()); }},
      {"autoPaste false kept",
       {{"autoPaste", false}},
       [](const AppSettings& s, const DefaultsStore&) { EXPECT_FALSE(s.autoPaste()); }},
      {"unknown hotkey",
       {{"hotkey", "leftOption"}},
       [](const AppSettings& s, const DefaultsStore&) { EXPECT_EQ(s.hotkey(), HotkeyChoice::rightOption); }},
      {"hotkey fn",
       {{"hotkey", "fn"}},
       [](const AppSettings& s, const DefaultsStore&) { EXPECT_EQ(s.hotkey(), HotkeyChoice::fn); }},
      {"betaUpload not a boolean gives true, written",
       {{"betaUpload", 0}},
       [](const AppSettings& s, const DefaultsStore& d) {
         EXPECT_TRUE(s.betaUpload());
         EXPECT_EQ(d.boolean("betaUpload"), true);
       }},
      {"openAtLogin false kept",
       {{"openAtLogin", false}},
       [](const AppSettings& s, const DefaultsStore&) { EXPECT_FALSE(s.openAtLogin()); }},
      {"deviceID kept",
       {{"deviceID", "my-install"}},
       [](const AppSettings& s, const DefaultsStore&) { EXPECT_EQ(s.deviceID(), "my-install"); }},
      {"undecodable startup history is empty",
       {{"microphoneStartupHistory", {{"data", "bm90IGpzb24="}}}},
       [](const AppSettings& s, const DefaultsStore&) {
         EXPECT_TRUE(s.microphoneStartupHistory().samples.empty());
       }},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    InMemoryDefaultsStore store(c.stored);
    AppSettings settings(store);
    c.check(settings, store);
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
      {{{"preferBuiltInMicForDictation", true}}, MicrophoneSelection::builtIn(), "built-in"},
      {{{"preferBuiltInMicForDictation", "no"}}, MicrophoneSelection::builtIn(), "built-in"},
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
  settings.setRecordingMode(RecordingMode::toggle);
  settings.setMicrophoneSelection(MicrophoneSelection::device("alsa_input.usb"));
  settings.recordMicrophoneStartup("alsa_input.usb", 120);
  settings.recordMicrophoneStartup("alsa_input.usb", 60001);  // not a start-up time: no change

  EXPECT_EQ(changes, (std::vector<Field>{Field::cleanupLevel, Field::recordingMode,
                                         Field::microphoneSelection, Field::microphoneStartupHistory}));
  settings.removeObserver(id);
  settings.setAutoPaste(false);
  EXPECT_EQ(changes.size(), 4u);

  AppSettings reloaded(store);
  EXPECT_EQ(reloaded.cleanupLevel(), CleanupLevel::format);
  EXPECT_EQ(reloaded.recordingMode(), RecordingMode::toggle);
  EXPECT_FALSE(reloaded.autoPaste());
  EXPECT_EQ(reloaded.microphoneSelection(), MicrophoneSelection::device("alsa_input.usb"));
  EXPECT_EQ(reloaded.microphoneStartupHistory().median("alsa_input.usb"), 120);
  EXPECT_EQ(reloaded.deviceID(), settings.deviceID());
}

}  // namespace
}  // namespace murvelo
