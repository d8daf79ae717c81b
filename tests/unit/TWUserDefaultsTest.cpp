// SPDX-License-Identifier: MIT
// The settings store's layering (registered under persisted) and its conversions.
#include "TWUserDefaults.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"

#include <cstdint>
#include <gtest/gtest.h>

// The keys as they stand in the settings files, written out here once: every other test uses
// the names of TWSettings.h. Persisted values shadow the registered ones.
TEST(TWUserDefaults, RegisteredDefaultsUnderTheirStoredNamesShadowedByPersistedValues) {
    const auto ownBacking = std::make_shared<TWSimDefaultsStore>();
    const auto sharedBacking = std::make_shared<TWSimDefaultsStore>();
    TWUserDefaults own{ownBacking}, shared{sharedBacking};
    EXPECT_FALSE(shared.boolForKey("ShowFinder")) << "absent reads NO before registration";
    TWRegisterDefaults(own, shared);
    // clang-format off
    const std::tuple<TWUserDefaults*, const char*, std::optional<TWPlistValue>> registered[] = {
        {&own, "IconStyle2", 1 /* an integer, not a boolean */}, {&own, "Menubar", false},
        {&own, "CheckForUpdates", true}, {&shared, "ShowFinder", true},
        {&shared, "ShowWindow", false}, {&shared, "Minimize", true},
        {&shared, "CloseAllFinder", false}, {&shared, "ExcludedApps", std::nullopt},
        // Each key lives in one store only.
        {&shared, "IconStyle2", std::nullopt}, {&own, "ShowFinder", std::nullopt}};
    // clang-format on
    for (const auto& [defaults, key, value] : registered)
        EXPECT_EQ(defaults->objectForKey(key), value) << key;
    // Registration is volatile: nothing was written.
    EXPECT_EQ(ownBacking->updateCount(), 0);
    EXPECT_TRUE(sharedBacking->load().empty());

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

    // Every read sees the latest write of another writer of the store.
    TWUserDefaults writer(sharedBacking);
    writer.setBool(false, TWShowFinderKey);
    EXPECT_FALSE(shared.boolForKey(TWShowFinderKey));
    writer.removeObjectForKey(TWShowFinderKey);
    EXPECT_TRUE(shared.boolForKey(TWShowFinderKey));
}

TEST(TWUserDefaults, StringsReadByTheirWordOrLeadingIntegerOtherTypesAsNumbersOrNotAtAll) {
    const struct {
        TWPlistValue value;
        bool asBool;
        std::int64_t asInteger;
    } cases[] = {// clang-format off
        {"YES", true, 0}, {"tRuE", true, 0}, {"no", false, 0}, {" 12abc", true, 12},
        {"0x5", false, 0}, {"-7", true, -7}, {"+3", true, 3},
        {"99999999999999999999", true, INT64_MAX}, {"-99999999999999999999", true, INT64_MIN},
        {2.9, true, 2}, {true, true, 1}, {0, false, 0}, {TWPlistData{1, 2}, false, 0}};
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
