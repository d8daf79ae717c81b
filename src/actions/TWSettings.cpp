// SPDX-License-Identifier: MIT
// The settings keys, the store each lives in, and their registered defaults.
#include "TWSettings.h"

void TWRegisterDefaults(TWUserDefaults& standardDefaults, TWUserDefaults& sharedDefaults) {
    standardDefaults.registerDefaults({
        {TWIconStyleKey, TWPlistValue(1)},
        {TWMenubarKey, TWPlistValue(false)},
        {TWCheckForUpdatesKey, TWPlistValue(true)},
    });
    sharedDefaults.registerDefaults({
        {TWShowFinderKey, TWPlistValue(true)},
        {TWShowWindowKey, TWPlistValue(false)},
        {TWMinimizeKey, TWPlistValue(true)},
        {TWCloseAllFinderKey, TWPlistValue(false)},
    });
}

std::string TWIconImageName(std::int64_t tag) {
    for (const auto& style : TWIconStyles)
        if (style.tag == tag)
            return style.imageName;
    return {};
}
