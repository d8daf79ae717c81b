// SPDX-License-Identifier: MIT
// The desktop actions on a headless GNOME Shell with Tidewell's extension and real Wayland
// clients, checked through the shell's own Eval (a test-only extension opens it).
#include "TWGnomeTestDesktop.h"

#include <gtest/gtest.h>

namespace {

class TWGnomeDesktopTest : public ::testing::Test {
  protected:
    static void SetUpTestSuite() { session_ = new TWGnomeTestDesktop(); }
    static void TearDownTestSuite() { delete std::exchange(session_, nullptr); }
    void SetUp() override { ASSERT_TRUE(session_->ok()) << session_->error(); }
    static inline TWGnomeTestDesktop* session_ = nullptr;
};

TEST_F(TWGnomeDesktopTest, ACallerThatIsNotTidewellIsRefused) {
    pid_t terminal = session_->spawn({"weston-terminal"});
    ASSERT_EQ(session_->windowsOf(terminal).size(), 1u);
    std::string refused = run({"sh", "-c",
                               "gdbus call --session --dest org.gnome.Shell --object-path "
                               "/net/quillfen/Tidewell/Shell --method "
                               "net.quillfen.Tidewell.Shell1.ListWindows 2>&1"});
    EXPECT_NE(refused.find("org.freedesktop.DBus.Error.AccessDenied"), std::string::npos)
        << refused;
}

} // namespace
