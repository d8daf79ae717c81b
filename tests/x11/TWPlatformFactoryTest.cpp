// SPDX-License-Identifier: MIT
// Choosing the desktop backend, and the command-line tool that acts through it with the user's
// settings files.
#include "TWPlatformFactory.h"
#include "TWLog.h"
#include "TWPlistFileStore.h"
#include "TWSettings.h"
#include "TWSimDesktop.h"
#include "TWStorePaths.h"
#include "TWTestDesktopSuite.h"
#include "TWTestPaths.h"
#include "TWX11Desktop.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <sys/wait.h>

namespace {

// Environment changes that are undone when the scope ends.
class ScopedEnv {
  public:
    ScopedEnv(const char* name, const char* value) : name_(name) {
        if (const char* old = std::getenv(name))
            old_ = old;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnv() {
        if (old_)
            setenv(name_.c_str(), old_->c_str(), 1);
        else
            unsetenv(name_.c_str());
    }

  private:
    std::string name_;
    std::optional<std::string> old_;
};

class TWPlatformFactoryTest : public TWTestDesktopSuite {
  protected:
    void SetUp() override {
        TWTestDesktopSuite::SetUp();
        if (HasFatalFailure())
            return;
        TWSetLogSink([this](const std::string& line) { log_.push_back(line); });
    }
    void TearDown() override {
        TWSetLogSink({});
        for (pid_t pid : clients_)
            desktop_->terminate(pid);
    }
    std::vector<std::string> log_;
    std::vector<pid_t> clients_;
};

TEST_F(TWPlatformFactoryTest, EachKindOpensItsDesktopOrSaysWhyNot) {
    EXPECT_NE(dynamic_cast<TWSimDesktop*>(TWMakeDesktop(TWDesktopKind::Simulated).get()), nullptr);
    for (auto kind : {TWDesktopKind::X11, TWDesktopKind::Automatic}) {
        auto desktop = TWMakeDesktop(kind);
        auto* x11 = dynamic_cast<TWX11Desktop*>(desktop.get());
        ASSERT_NE(x11, nullptr);
        EXPECT_FALSE(x11->connection().hasError());
    }
    EXPECT_TRUE(log_.empty());

    // A display that is named but cannot be reached: X11 gives nothing, automatic the
    // simulated desktop; each says why.
    {
        ScopedEnv display("DISPLAY", ":4999");
        EXPECT_EQ(TWMakeDesktop(TWDesktopKind::X11), nullptr);
        EXPECT_NE(dynamic_cast<TWSimDesktop*>(TWMakeDesktop(TWDesktopKind::Automatic).get()),
                  nullptr);
    }
    {
        ScopedEnv display("DISPLAY", nullptr);
        EXPECT_NE(dynamic_cast<TWSimDesktop*>(TWMakeDesktop(TWDesktopKind::Automatic).get()),
                  nullptr);
    }
    ASSERT_EQ(log_.size(), 4u);
    EXPECT_NE(log_[0].find(":4999"), std::string::npos) << log_[0];
    EXPECT_NE(log_[1].find(":4999"), std::string::npos) << log_[1];
    EXPECT_NE(log_[2].find("simulated"), std::string::npos) << log_[2];
    EXPECT_NE(log_[3].find("simulated"), std::string::npos) << log_[3];
}

// The command-line tool: it reads the user's settings files as the application does, and
// --exclude/--set change only the run, never the files.
std::string tool() {
    return TWTestProgramPath("tidewell-x11");
}

int runTool(const std::string& arguments) {
    int status = std::system((tool() + " " + arguments + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

TEST_F(TWPlatformFactoryTest, TheToolUsesTheSettingsFilesAndNeverWritesThem) {
    // The user has excluded "Keep".
    TWPlistFileStore shared(TWStorePaths::sharedStorePath());
    ASSERT_TRUE(shared.update([](TWPlistDictionary& values) {
        TWPlistDictionary record;
        record[TWExcludedNameField] = std::string("Keep");
        record[TWExcludedBundleIDField] = std::string("Keep");
        record[TWExcludedURLDataField] = TWPlistData{};
        values[TWExcludedAppsKey] = TWPlistArray{TWPlistValue(record)};
    }));
    const std::string before = TWReadFile(TWStorePaths::sharedStorePath());
    pid_t keep = desktop_->spawnTestClient({"--class", "keep,Keep"});
    pid_t spare = desktop_->spawnTestClient({"--class", "spare,Spare"});
    pid_t other = desktop_->spawnTestClient({"--class", "other,Other"});
    clients_ = {keep, spare, other};
    auto windowOf = [&](pid_t pid) { return desktop_->windowsOfPid(pid).at(0); };

    EXPECT_EQ(runTool("hide-others"), 0);
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isIconic(windowOf(other)); }));
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isIconic(windowOf(spare)); }));
    EXPECT_FALSE(desktop_->isIconic(windowOf(keep))) << "excluded in the settings file";

    EXPECT_EQ(runTool("show-all"), 0);
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return !desktop_->isIconic(windowOf(other)); }));
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return !desktop_->isIconic(windowOf(spare)); }));

    // An exclusion for this run only comes on top of the file's.
    EXPECT_EQ(runTool("--exclude Spare --set ShowFinder=NO hide-others"), 0);
    ASSERT_TRUE(TWTestDesktop::waitFor([&] { return desktop_->isIconic(windowOf(other)); }));
    EXPECT_FALSE(desktop_->isIconic(windowOf(spare)));
    EXPECT_FALSE(desktop_->isIconic(windowOf(keep)));
    EXPECT_EQ(TWReadFile(TWStorePaths::sharedStorePath()), before);
    EXPECT_FALSE(std::ifstream(TWStorePaths::ownStorePath()).good()) << "no file was created";
    EXPECT_EQ(runTool("show-all"), 0);
}

TEST_F(TWPlatformFactoryTest, TheToolExitsTwoOnBadUsageAndOneWithoutADisplay) {
    EXPECT_EQ(runTool(""), 2);
    EXPECT_EQ(runTool("frobnicate"), 2);
    EXPECT_EQ(runTool("toggle"), 2);
    EXPECT_EQ(runTool("--set NoEqualsSign list"), 2);
    EXPECT_EQ(runTool("--bogus list"), 2);
    EXPECT_EQ(runTool("list --exclude"), 2);
    EXPECT_EQ(runTool("--help"), 0);
    EXPECT_EQ(runTool("--display :4999 list"), 1);
    EXPECT_EQ(runTool("list"), 0);
}

} // namespace
