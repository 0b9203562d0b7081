#include <gtest/gtest.h>

#include "TestSupport.h"

namespace pellix {
namespace {

std::vector<InstallStep> elevenRows() {
    std::vector<InstallStep> rows;
    for (int i = 0; i < 11; ++i) rows.emplace_back("row " + std::to_string(i));
    return rows;
}

TEST(InstallerState, FreshViewModelIsOnWelcomeWithStandardAndSonnet) {
    InstallerViewModel model;
    EXPECT_EQ(model.phase(), InstallerPhase::welcome);
    EXPECT_TRUE(model.steps().empty());
    EXPECT_EQ(model.progress(), 0.0);
    EXPECT_EQ(model.errorMessage(), "");
    EXPECT_EQ(model.scanPreset(), "standard");
    EXPECT_EQ(model.modelChoice(), "sonnet");
}

TEST(InstallerState, UpdateStepAtOrPastTheEndChangesNothing) {
    InstallerViewModel model;
    model.setSteps(elevenRows());
    model.setProgress(0.25);
    test::updateStep(model, 11, StepStatus::failed, "x");
    test::updateStep(model, 40, StepStatus::failed, "x");
    EXPECT_EQ(model.progress(), 0.25);
    for (const InstallStep& step : model.steps()) {
        EXPECT_EQ(step.status, StepStatus::pending);
        EXPECT_EQ(step.detail, "");
    }
}

TEST(InstallerState, UpdateStepWithNegativeIndexChangesNothing) {
    InstallerViewModel model;
    model.setSteps(elevenRows());
    test::updateStep(model, -1, StepStatus::failed, "x");
    EXPECT_EQ(model.progress(), 0.0);
}

TEST(InstallerState, RunningWithoutDetailKeepsTheEarlierDetail) {
    InstallerViewModel model;
    model.setSteps(elevenRows());
    test::updateStep(model, 3, StepStatus::warning, "earlier");
    test::updateStep(model, 3, StepStatus::running);
    EXPECT_EQ(model.steps()[3].status, StepStatus::running);
    EXPECT_EQ(model.steps()[3].detail, "earlier");
}

TEST(InstallerState, ProgressFollowsTheRowLastTouched) {
    InstallerViewModel model;
    model.setSteps(elevenRows());
    test::updateStep(model, 0, StepStatus::running);
    EXPECT_DOUBLE_EQ(model.progress(), 1.0 / 11.0);
    test::updateStep(model, 10, StepStatus::success, "x");
    EXPECT_EQ(model.progress(), 1.0);
}

TEST(InstallerState, TheUpdateRuleLeavesRowsOutsideTheListAlone) {
    std::vector<InstallStep> rows = elevenRows();
    EXPECT_EQ(applyStepUpdate(rows, 11, StepStatus::failed, "x"), std::nullopt);
    EXPECT_EQ(applyStepUpdate(rows, -1, StepStatus::failed, "x"), std::nullopt);
    for (const InstallStep& step : rows) EXPECT_EQ(step.status, StepStatus::pending);
}

TEST(InstallerState, TheUpdateRuleGivesTheProgressOfTheRowTouched) {
    std::vector<InstallStep> rows = elevenRows();
    EXPECT_EQ(applyStepUpdate(rows, 1, StepStatus::failed, "x"), 2.0 / 11.0);
    EXPECT_EQ(rows[1].status, StepStatus::failed);
    EXPECT_EQ(rows[1].detail, "x");
    EXPECT_EQ(applyStepUpdate(rows, 1, StepStatus::running, ""), 2.0 / 11.0);
    EXPECT_EQ(rows[1].detail, "x");
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
    InstallerViewModel model;
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
    InstallerViewModel model;
    int calls = 0;
    const auto id = model.addWillChangeObserver([&](Property) { ++calls; });
    model.setModelChoice("opus");
    model.removeObserver(id);
    model.setModelChoice("haiku");
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace pellix
