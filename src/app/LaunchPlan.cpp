#include "app/LaunchPlan.h"

namespace murvelo {

LaunchPlan planLaunch(const LaunchFacts& facts) {
  LaunchPlan plan;
  // A guide that was finished once counts as complete, and its key as seen working.
  if (facts.onboardingComplete && !facts.inputMonitoringConfirmed) plan.markInputMonitoringConfirmed = true;
  const bool confirmed = facts.inputMonitoringConfirmed || plan.markInputMonitoringConfirmed;
  if (facts.microphoneAuthorised && facts.inputMonitoring) {
    plan.resetRelaunchCount = true;
    plan.markInputMonitoringConfirmed = !facts.inputMonitoringConfirmed;
    plan.markOnboardingComplete = !facts.onboardingComplete;
    plan.openGuide = facts.resumeOnboarding || !facts.onboardingFinished;
  } else if (facts.microphoneAuthorised && confirmed && !facts.translocated) {
    plan.resetRelaunchCount = true;
    plan.openGuide = facts.resumeOnboarding;
    plan.markOnboardingComplete = !facts.resumeOnboarding && !facts.onboardingComplete;
  } else {
    plan.openGuide = true;
  }
  return plan;
}

}  // namespace murvelo
