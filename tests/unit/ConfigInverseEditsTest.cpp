#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <string>

#include "config/ConfigDocument.h"
#include "config/ConfigEdits.h"

namespace pellix {
namespace {

using Edit = std::function<bool(ConfigDocument&)>;

const Edit kUnregister = [](ConfigDocument& document) { return unregisterAgent(document); };
const Edit kDisallow = [](ConfigDocument& document) { return disallowPellix(document); };
const Edit kRegister = [](ConfigDocument& document) {
    return registerAgent(document, Choices{}) == Registration::added;
};
const Edit kAllow = [](ConfigDocument& document) { return allowPellix(document); };

// The product's text of `input` after `edit`, and whether the edit said it changed anything.
struct Outcome {
    bool changed = false;
    std::string text;
    friend bool operator==(const Outcome&, const Outcome&) = default;
};
Outcome applied(const std::string& input, const Edit& edit) {
    std::optional<ConfigDocument> document = ConfigDocument::parse(input);
    EXPECT_NE(document, std::nullopt) << input;
    if (!document) return {};
    const bool changed = edit(*document);
    return {changed, document->serialize().value()};
}
std::string printed(const std::string& input) {
    return applied(input, [](ConfigDocument&) { return false; }).text;
}
void PrintTo(const Outcome& outcome, std::ostream* out) {
    *out << (outcome.changed ? "changed: " : "unchanged: ") << outcome.text;
}

TEST(ConfigInverseEdits, UnregisterTakesTheEntryOutOfListAndKeepsTheRest) {
    EXPECT_EQ(applied(R"({"agents":{"list":[{"id":"a"},{"name":"pellix","model":"m"}],"x":1}})",
                      kUnregister),
              (Outcome{true, printed(R"({"agents":{"list":[{"id":"a"}],"x":1}})")}));
}

TEST(ConfigInverseEdits, UnregisterTakesTheEntryOutOfItems) {
    EXPECT_EQ(applied(R"({"agents":{"items":[{"name":"pellix"}],"list":[{"name":"pellix"}]}})",
                      kUnregister),
              (Outcome{true, printed(R"({"agents":{"items":[],"list":[{"name":"pellix"}]}})")}));
}

TEST(ConfigInverseEdits, UnregisterUsesListWhenItemsIsNotAnArrayOfObjects) {
    EXPECT_EQ(
        applied(R"({"agents":{"items":7,"list":[{"name":"pellix"},{"id":"main"}]}})", kUnregister),
        (Outcome{true, printed(R"({"agents":{"items":7,"list":[{"id":"main"}]}})")}));
    EXPECT_EQ(
        applied(R"({"agents":{"items":[{"name":"x"},3],"list":[{"id":"pellix"}]}})", kUnregister),
        (Outcome{true, printed(R"({"agents":{"items":[{"name":"x"},3],"list":[]}})")}));
}

TEST(ConfigInverseEdits, UnregisterFindsTheEntryByNameOrId) {
    EXPECT_EQ(applied(R"({"agents":{"list":[{"id":"pellix"},{"name":7,"id":"pellix"},{}]}})",
                      kUnregister),
              (Outcome{true, printed(R"({"agents":{"list":[{}]}})")}));
}

TEST(ConfigInverseEdits, UnregisterLeavesOtherSpellingsAndShapesAlone) {
    for (const char* input : {R"({"agents":{"list":[{"name":"Pellix"},{"id":"pellix "}]}})",
                              R"({"agents":{"list":[{"name":"pellix"},1]}})",
                              R"({"agents":[{"name":"pellix"}]})", R"({"pellix":{}})", "{}"}) {
        EXPECT_EQ(applied(input, kUnregister), (Outcome{false, printed(input)})) << input;
    }
}

TEST(ConfigInverseEdits, DisallowTakesPellixOutOfTheMainAgentsListAndKeepsOtherNames) {
    EXPECT_EQ(applied(R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":)"
                      R"(["coder","pellix","x"],"max":2}}]}})",
                      kDisallow),
              (Outcome{true, printed(R"({"agents":{"list":[{"id":"main","subagents":)"
                                     R"({"allowAgents":["coder","x"],"max":2}}]}})")}));
}

TEST(ConfigInverseEdits, DisallowFindsMainByNameWhenThereIsNoStringId) {
    EXPECT_EQ(applied(R"({"agents":{"items":[{"id":3,"name":"main","subagents":)"
                      R"({"allowAgents":["pellix"]}}]}})",
                      kDisallow),
              (Outcome{true, printed(R"({"agents":{"items":[{"id":3,"name":"main",)"
                                     R"("subagents":{"allowAgents":[]}}]}})")}));
}

TEST(ConfigInverseEdits, DisallowChangesOnlyTheFirstMainAgent) {
    const std::string second = R"({"name":"main","subagents":{"allowAgents":["pellix"]}})";
    EXPECT_EQ(applied(R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":)"
                      R"(["pellix"]}},)" +
                          second + "]}}",
                      kDisallow),
              (Outcome{true, printed(R"({"agents":{"list":[{"id":"main","subagents":)"
                                     R"({"allowAgents":[]}},)" +
                                     second + "]}}")}));
}

TEST(ConfigInverseEdits, DisallowLeavesAnEntryWhoseIdIsAnotherNameAlone) {
    const std::string input =
        R"({"agents":{"list":[{"id":"coder","name":"main","subagents":{"allowAgents":["pellix"]}}]}})";
    EXPECT_EQ(applied(input, kDisallow), (Outcome{false, printed(input)}));
}

TEST(ConfigInverseEdits, DisallowWithoutPellixChangesNothing) {
    for (const char* input :
         {R"({"agents":{"list":[{"id":"main"}]}})",
          R"({"agents":{"list":[{"id":"main","subagents":[]}]}})",
          R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":"pellix"}}]}})",
          R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":["Pellix"]}}]}})"}) {
        EXPECT_EQ(applied(input, kDisallow), (Outcome{false, printed(input)})) << input;
    }
}

TEST(ConfigInverseEdits, DisallowTakesOutEveryPellixEvenBesideOtherTypes) {
    EXPECT_EQ(applied(R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":)"
                      R"(["pellix",1,"pellix"]}}]}})",
                      kDisallow),
              (Outcome{true, printed(R"({"agents":{"list":[{"id":"main","subagents":)"
                                     R"({"allowAgents":[1]}}]}})")}));
}

// What the two edits add, the two inverses take out again, for every shape of list the edits
// accept; the containers the edits had to create stay, empty.
TEST(ConfigInverseEdits, InversesUndoTheInstallsEditsForEveryShapeOfList) {
    const std::pair<const char*, const char*> cases[] = {
        {R"({"agents":{"list":[{"id":"main"}]}})",
         R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":[]}}]}})"},
        {R"({"agents":{"items":[{"name":"main","subagents":{"allowAgents":["a"],"k":1}}]}})",
         R"({"agents":{"items":[{"name":"main","subagents":{"allowAgents":["a"],"k":1}}]}})"},
        {R"({"agents":{"items":null,"list":[{"id":"main"}]}})",
         R"({"agents":{"items":[{"id":"main","subagents":{"allowAgents":[]}}],)"
         R"("list":[{"id":"main"}]}})"},
        {R"({"gateway":{"port":18789}})", R"({"agents":{"list":[]},"gateway":{"port":18789}})"},
        {R"({"agents":"none"})", R"({"agents":{"list":[]}})"},
    };
    for (const auto& [before, after] : cases) {
        SCOPED_TRACE(before);
        std::optional<ConfigDocument> document = ConfigDocument::parse(before);
        ASSERT_NE(document, std::nullopt);
        EXPECT_TRUE(kRegister(*document));
        kAllow(*document);
        EXPECT_TRUE(kUnregister(*document));
        kDisallow(*document);
        EXPECT_EQ(document->serialize(), printed(after));
        EXPECT_FALSE(kUnregister(*document));
        EXPECT_FALSE(kDisallow(*document));
    }
}

}  // namespace
}  // namespace pellix
