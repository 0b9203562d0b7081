#include <gtest/gtest.h>

#include "TestSupport.h"

namespace pellix {
namespace {

using test::TestViewModel;

std::vector<InstallStep> elevenRows() {
    std::vector<InstallStep> rows;
    for (int i = 0; i < 11; ++i) rows.emplace_back("row " + std::to_string(i));
    return rows;
}

TEST(InstallerState, FreshViewModelIsOnWelcomeWithStandardAndSonnet) {
    TestViewModel model;
    EXPECT_EQ(model.phase(), InstallerPhase::welcome);
    EXPECT_TRUE(model.steps().empty());
    EXPECT_EQ(model.progress(), 0.0);
    EXPECT_EQ(model.errorMessage(), "");
    EXPECT_EQ(model.scanPreset(), "standard");
    EXPECT_EQ(model.modelChoice(), "sonnet");
}

TEST(InstallerState, UpdateStepAtOrPastTheEndChangesNothing) {
    TestViewModel model;
    model.setSteps(elevenRows());
    model.setProgress(0.25);
    model.updateStep(11, StepStatus::failed, "x");
    model.updateStep(40, StepStatus::failed, "x");
    EXPECT_EQ(model.progress(), 0.25);
    for (const InstallStep& step : model.steps()) {
        EXPECT_EQ(step.status, StepStatus::pending);
        EXPECT_EQ(step.detail, "");
    }
}

TEST(InstallerState, UpdateStepWithNegativeIndexChangesNothing) {
    TestViewModel model;
    model.setSteps(elevenRows());
    model.updateStep(-1, StepStatus::failed, "x");
    EXPECT_EQ(model.progress(), 0.0);
}

TEST(InstallerState, RunningWithoutDetailKeepsTheEarlierDetail) {
    TestViewModel model;
    model.setSteps(elevenRows());
    model.updateStep(3, StepStatus::warning, "earlier");
    model.updateStep(3, StepStatus::running);
    EXPECT_EQ(model.steps()[3].status, StepStatus::running);
    EXPECT_EQ(model.steps()[3].detail, "earlier");
}

TEST(InstallerState, ProgressFollowsTheRowLastTouched) {
    TestViewModel model;
    model.setSteps(elevenRows());
    model.updateStep(0, StepStatus::running);
    EXPECT_DOUBLE_EQ(model.progress(), 1.0 / 11.0);
    model.updateStep(10, StepStatus::success, "x");
    EXPECT_EQ(model.progress(), 1.0);
}

TEST(InstallerState, StatusesCarryTheirSymbolAndColour) {
    EXPECT_EQ(icon(StepStatus::pending), "circle");
    EXPECT_EQ(icon(StepStatus::running), "circle.dotted");
    EXPECT_EQ(icon(StepStatus::success), "checkmark.circle.fill");
    EXPECT_EQ(icon(StepStatus::warning), "exclamationmark.triangle.fill");
    EXPECT_EQ(icon(StepStatus::failed), "xmark.circle.fill");
    EXPECT_EQ(color(StepStatus::pending), NamedColor::secondary);
    EXPECT_EQ(color(StepStatus::running), NamedColor::blue);
    EXPECT_EQ(color(StepStatus::success), NamedColor::green);
    EXPECT_EQ(color(StepStatus::warning), NamedColor::orange);
    EXPECT_EQ(color(StepStatus::failed), NamedColor::red);
}

TEST(InstallerState, EachStepGetsItsOwnVersion4Uuid) {
    const InstallStep first("a");
    const InstallStep second("a");
    EXPECT_NE(first.id, second.id);
    ASSERT_EQ(first.id.size(), 36u);
    EXPECT_EQ(first.id[14], '4');
    EXPECT_NE(std::string("89AB").find(first.id[19]), std::string::npos);
}

TEST(InstallerState, ObserversHearBeforeTheValueIsStoredAndAfter) {
    TestViewModel model;
    std::string seenBefore;
    std::string seenAfter;
    model.addWillChangeObserver([&](Property p) {
        if (p == Property::scanPreset) seenBefore = model.scanPreset();
    });
    model.addDidChangeObserver([&](Property p) {
        if (p == Property::scanPreset) seenAfter = model.scanPreset();
    });
    model.setScanPreset("daily");
    EXPECT_EQ(seenBefore, "standard");
    EXPECT_EQ(seenAfter, "daily");
}

TEST(InstallerState, RemovedObserverIsNotCalled) {
    TestViewModel model;
    int calls = 0;
    const auto id = model.addWillChangeObserver([&](Property) { ++calls; });
    model.setModelChoice("opus");
    model.removeObserver(id);
    model.setModelChoice("haiku");
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace pellix
