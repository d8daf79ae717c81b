// SPDX-License-Identifier: MIT
// A test suite whose tests share one test desktop, started before the first and ended after
// the last.
#pragma once

#include "TWTestDesktop.h"

#include <gtest/gtest.h>

class TWTestDesktopSuite : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { desktop_ = new TWTestDesktop; }
    static void TearDownTestSuite() {
        delete desktop_;
        desktop_ = nullptr;
    }
    // Every test starts on a desktop that came up.
    void SetUp() override { ASSERT_TRUE(desktop_->ok()) << desktop_->error(); }

    static inline TWTestDesktop* desktop_ = nullptr;
};
