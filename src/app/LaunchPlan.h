#pragma once

namespace murvelo {

// What the launch sequence found, and what it does about the first-start guide.
struct LaunchFacts {
  bool microphoneAuthorised = false;  // the audio server answers
  bool inputMonitoring = false;       // the talk key is being watched
  bool inputMonitoringConfirmed = false;
  bool translocated = false;
  bool resumeOnboarding = false;  // consumed by this launch
  bool onboardingComplete = false;
  bool onboardingFinished = false;
};

struct LaunchPlan {
  bool openGuide = false;
  bool markOnboardingComplete = false;
  bool markInputMonitoringConfirmed = false;
  bool resetRelaunchCount = false;

  bool operator==(const LaunchPlan&) const = default;
};

LaunchPlan planLaunch(const LaunchFacts& facts);

}  // namespace murvelo
