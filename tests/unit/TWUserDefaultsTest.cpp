// SPDX-License-Identifier: MIT
// The settings store's layering (registered under persisted) and its conversions.
#include "TWUserDefaults.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace {
struct Stores {
    std::shared_ptr<TWSimDefaultsStore> ownBacking = std::make_shared<TWSimDefaultsStore>();
    std::shared_ptr<TWSimDefaultsStore> sharedBacking = std::make_shared<TWSimDefaultsStore>();
    TWUserDefaults own{ownBacking};
    TWUserDefaults shared{sharedBacking};
};
} // namespace

// The keys as they stand in the settings files, written out here once: every other test uses
// the names of TWSettings.h.
TEST(TWUserDefaults, FreshInstallReadsTheRegisteredDefaultsUnderTheirStoredNames) {
    Stores s;
    EXPECT_FALSE(s.shared.boolForKey("ShowFinder")) << "absent reads NO before registration";
    TWRegisterDefaults(s.own, s.shared);
    // clang-format off
    const std::tuple<TWUserDefaults*, const char*, std::optional<TWPlistValue>> registered[] = {
        {&s.own, "IconStyle2", 1 /* an integer, not a boolean */}, {&s.own, "Menubar", false},
        {&s.own, "CheckForUpdates", true}, {&s.shared, "ShowFinder", true},
        {&s.shared, "ShowWindow", false}, {&s.shared, "Minimize", true},
        {&s.shared, "CloseAllFinder", false}, {&s.shared, "ExcludedApps", std::nullopt},
        // Each key lives in one store only.
        {&s.shared, "IconStyle2", std::nullopt}, {&s.own, "ShowFinder", std::nullopt}};
    // clang-format on
    for (const auto& [defaults, key, value] : registered)
        EXPECT_EQ(defaults->objectForKey(key), value) << key;
    // Registration is volatile: nothing was written.
    EXPECT_EQ(s.ownBacking->updateCount(), 0);
    EXPECT_TRUE(s.sharedBacking->load().empty());

    // clang-format off
    const std::pair<const char*, const char*> names[] = {
        {TWExcludedAppsKey, "ExcludedApps"}, {TWExcludedNameField, "name"},
        {TWExcludedURLDataField, "URLData"}, {TWExcludedBundleIDField, "BundleID"},
        {TWExcludedURLField, "URL"}, {TWExcludedIconField, "Icon"},
        {TWOwnBundleIdentifier, "net.quillfen.Tidewell"},
        {TWHelperBundleIdentifier, "net.quillfen.TidewellStatus"}};
    // clang-format on
    for (const auto& [name, literal] : names)
        EXPECT_STREQ(name, literal);
}

TEST(TWUserDefaults, PersistedValuesShadowRegisteredOnesAndEveryReadSeesTheLatest) {
    Stores s;
    TWRegisterDefaults(s.own, s.shared);
    TWUserDefaults writer(s.sharedBacking);
    writer.setBool(false, TWShowFinderKey);
    EXPECT_FALSE(s.shared.boolForKey(TWShowFinderKey));
    writer.removeObjectForKey(TWShowFinderKey);
    EXPECT_TRUE(s.shared.boolForKey(TWShowFinderKey));
    // A later registration replaces an earlier one for the same key only.
    s.own.registerDefaults({{TWMenubarKey, TWPlistValue(true)}});
    EXPECT_TRUE(s.own.boolForKey(TWMenubarKey));
    EXPECT_TRUE(s.own.boolForKey(TWCheckForUpdatesKey));
}

TEST(TWUserDefaults, StringsReadByTheirWordOrLeadingIntegerOtherTypesAsNumbersOrNotAtAll) {
    const struct {
        TWPlistValue value;
        bool asBool;
        std::int64_t asInteger;
    } cases[] = {// clang-format off
        {"YES", true, 0}, {"tRuE", true, 0}, {"no", false, 0}, {"False", false, 0},
        {"purple", false, 0}, {"1", true, 1}, {" 12abc", true, 12}, {"0x5", false, 0},
        {"5e-1", true, 5}, {"-7", true, -7}, {"+3", true, 3}, {"- 3", false, 0},
        {"99999999999999999999", true, INT64_MAX}, {"-99999999999999999999", true, INT64_MIN},
        {2.9, true, 2}, {true, true, 1}, {0, false, 0}, {TWPlistData{1, 2}, false, 0},
        {TWPlistArray{1}, false, 0}};
    // clang-format on
    for (const auto& c : cases) {
        TWUserDefaults d(std::make_shared<TWSimDefaultsStore>(TWPlistDictionary{{"k", c.value}}));
        EXPECT_EQ(d.boolForKey("k"), c.asBool) << testing::PrintToString(c.value);
        EXPECT_EQ(d.integerForKey("k"), c.asInteger) << testing::PrintToString(c.value);
    }
    TWUserDefaults d(std::make_shared<TWSimDefaultsStore>(TWPlistDictionary{
        {"array", TWPlistArray{TWPlistValue(1)}}, {"dict", TWPlistDictionary{}}}));
    EXPECT_FALSE(d.arrayForKey("dict").has_value());
    EXPECT_EQ(d.arrayForKey("array"), TWPlistArray{TWPlistValue(1)});
}
