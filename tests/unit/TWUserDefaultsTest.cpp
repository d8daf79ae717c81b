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
    const auto own = [&](const char* key) { return s.own.objectForKey(key); };
    const auto shared = [&](const char* key) { return s.shared.objectForKey(key); };
    EXPECT_EQ(own("IconStyle2"), TWPlistValue(1)) << "an integer, not a boolean";
    EXPECT_EQ(own("Menubar"), TWPlistValue(false));
    EXPECT_EQ(own("CheckForUpdates"), TWPlistValue(true));
    EXPECT_EQ(shared("ShowFinder"), TWPlistValue(true));
    EXPECT_EQ(shared("ShowWindow"), TWPlistValue(false));
    EXPECT_EQ(shared("Minimize"), TWPlistValue(true));
    EXPECT_EQ(shared("CloseAllFinder"), TWPlistValue(false));
    EXPECT_FALSE(shared("ExcludedApps").has_value());
    // Each key lives in one store only.
    EXPECT_FALSE(shared("IconStyle2").has_value());
    EXPECT_FALSE(own("ShowFinder").has_value());
    // Registration is volatile: nothing was written.
    EXPECT_EQ(s.ownBacking->updateCount(), 0);
    EXPECT_TRUE(s.sharedBacking->load().empty());

    const std::pair<const char*, const char*> names[] = {
        {TWExcludedAppsKey, "ExcludedApps"},
        {TWExcludedNameField, "name"},
        {TWExcludedURLDataField, "URLData"},
        {TWExcludedBundleIDField, "BundleID"},
        {TWExcludedURLField, "URL"},
        {TWExcludedIconField, "Icon"},
        {TWOwnBundleIdentifier, "net.quillfen.Tidewell"},
        {TWHelperBundleIdentifier, "net.quillfen.TidewellStatus"},
    };
    for (const auto& [name, literal] : names)
        EXPECT_STREQ(name, literal);
}

TEST(TWUserDefaults, PersistedValuesShadowRegisteredOnesAndRemovalUncoversThem) {
    Stores s;
    TWRegisterDefaults(s.own, s.shared);
    s.shared.setBool(false, TWShowFinderKey);
    EXPECT_FALSE(s.shared.boolForKey(TWShowFinderKey));
    s.shared.removeObjectForKey(TWShowFinderKey);
    EXPECT_TRUE(s.shared.boolForKey(TWShowFinderKey));
    s.own.setInteger(5, TWIconStyleKey);
    EXPECT_EQ(s.own.integerForKey(TWIconStyleKey), 5);
    // A later registration replaces an earlier one for the same key only.
    s.own.registerDefaults({{TWMenubarKey, TWPlistValue(true)}});
    EXPECT_TRUE(s.own.boolForKey(TWMenubarKey));
    EXPECT_TRUE(s.own.boolForKey(TWCheckForUpdatesKey));
}

TEST(TWUserDefaults, StringsReadByTheirWordOrLeadingDecimalInteger) {
    struct Case {
        const char* text;
        bool asBool;
        std::int64_t asInteger;
    };
    const Case cases[] = {
        {"YES", true, 0},
        {"tRuE", true, 0},
        {"no", false, 0},
        {"False", false, 0},
        {"purple", false, 0},
        {"1", true, 1},
        {" 12abc", true, 12},
        {"0x5", false, 0},
        {"0x1", false, 0},
        {"5e-1", true, 5},
        {"-7", true, -7},
        {"+3", true, 3},
        {"- 3", false, 0},
        {"99999999999999999999", true, INT64_MAX},
        {"-99999999999999999999", true, INT64_MIN},
    };
    for (const Case& c : cases) {
        auto backing =
            std::make_shared<TWSimDefaultsStore>(TWPlistDictionary{{"k", TWPlistValue(c.text)}});
        TWUserDefaults d(backing);
        EXPECT_EQ(d.boolForKey("k"), c.asBool) << '"' << c.text << '"';
        EXPECT_EQ(d.integerForKey("k"), c.asInteger) << '"' << c.text << '"';
    }
}

TEST(TWUserDefaults, OtherTypesConvertAsNumbersOrNotAtAll) {
    auto backing = std::make_shared<TWSimDefaultsStore>(TWPlistDictionary{
        {"real", TWPlistValue(2.9)},
        {"boolTrue", TWPlistValue(true)},
        {"zero", TWPlistValue(0)},
        {"data", TWPlistValue(TWPlistData{1, 2})},
        {"array", TWPlistValue(TWPlistArray{TWPlistValue(1)})},
        {"dict", TWPlistValue(TWPlistDictionary{})},
    });
    TWUserDefaults d(backing);
    EXPECT_FALSE(d.boolForKey("zero"));
    EXPECT_FALSE(d.boolForKey("data"));
    EXPECT_FALSE(d.boolForKey("missing"));
    EXPECT_TRUE(d.boolForKey("real"));
    EXPECT_EQ(d.integerForKey("real"), 2);
    EXPECT_EQ(d.integerForKey("boolTrue"), 1);
    EXPECT_EQ(d.integerForKey("array"), 0);
    EXPECT_FALSE(d.arrayForKey("dict").has_value());
    ASSERT_TRUE(d.arrayForKey("array").has_value());
    EXPECT_EQ(d.arrayForKey("array")->size(), 1u);
}

TEST(TWUserDefaults, EveryReadSeesTheLatestPersistedValue) {
    auto backing = std::make_shared<TWSimDefaultsStore>();
    TWUserDefaults reader(backing), writer(backing);
    writer.setBool(true, TWShowWindowKey);
    EXPECT_TRUE(reader.boolForKey(TWShowWindowKey));
    writer.setBool(false, TWShowWindowKey);
    EXPECT_FALSE(reader.boolForKey(TWShowWindowKey));
}
