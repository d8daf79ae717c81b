// SPDX-License-Identifier: MIT
// The X11 backend against real window managers: the desktop scenarios, and what only X11 has.
#include "TWX11Desktop.h"
#include "TWCommon.h"
#include "TWDesktopEntryIndex.h"
#include "TWLogCapture.h"
#include "TWPlistFileStore.h"
#include "TWProcessRegistry.h"
#include "TWScenarios.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWStorePaths.h"
#include "TWTestDesktop.h"
#include "TWTestPaths.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

using std::chrono::seconds;

// The window managers that read the RandR monitors of Xvfb's one screen (through Xinerama);
// their desktop has two. The others read its one output.
const std::set<std::string> kReadingMonitors = {"openbox", "xfwm4", "icewm", "fluxbox"};

// One X11 desktop at a time, for the window manager asked last; the scenarios on one window
// manager share it.
std::unique_ptr<TWTestDesktop> sharedDesktop;
std::string sharedWindowManager;
TWTestDesktop& desktopWith(const std::string& windowManager) {
    if (!sharedDesktop || sharedWindowManager != windowManager) {
        sharedDesktop.reset();
        sharedDesktop = std::make_unique<TWTestDesktop>(
            windowManager, kReadingMonitors.count(windowManager) ? 2 : 1);
        sharedWindowManager = windowManager;
        sharedDesktop->writeDesktopEntry(
            "org.example.Flower", std::string("[Desktop Entry]\nType=Application\nName=") +
                                      kFlowerName + "\nExec=flower\nStartupWMClass=Flower\n");
        if (const std::string out = run({"wmctrl", "-d"});
            std::count(out.begin(), out.end(), '\n') < 2)
            run({"wmctrl", "-n", "2"});
    }
    return *sharedDesktop;
}

std::string propertyOf(const std::string& window, const std::string& property) {
    return window == "root" ? run({"xprop", "-root", property})
                            : run({"xprop", "-id", window, property});
}
// The number after " = " in xprop's answer; -1 when there is none.
int numberOf(const std::string& window, const std::string& property) {
    const std::string out = propertyOf(window, property);
    const auto at = out.find(" = ");
    return at == std::string::npos ? -1 : std::atoi(out.c_str() + at + 3);
}

// Windows are X11 window IDs in decimal; the observers are xprop and wmctrl.
class TWX11Driver : public TWSessionDriver {
  public:
    explicit TWX11Driver(const std::string& windowManager)
        : TWSessionDriver(desktopWith(windowManager)), windowManager_(windowManager),
          desktop_(static_cast<TWTestDesktop&>(testSession_)) {
        if (!desktop_.ok())
            error_ = desktop_.error();
        else if (!(x11_ = TWX11Desktop::open()))
            error_ = "cannot open the display";
        // Some window managers give every window on another workspace the Iconic state: there
        // _NET_WM_STATE_HIDDEN tells a minimized one.
        hiddenState_ =
            propertyOf("root", "_NET_SUPPORTED").find("_NET_WM_STATE_HIDDEN") != std::string::npos;
    }
    ~TWX11Driver() override {
        if (stopped_)
            kill(desktop_.windowManagerPid(), SIGCONT);
        if (desktop_.windowManagerPid() < 0)
            desktop_.restartWindowManager();
        if (currentWorkspace() > 0)
            switchToWorkspace(0);
    }
    std::string error() const override { return error_; }
    TWDesktop& desktop() override { return *x11_; }
    TWX11Desktop& x11() { return *x11_; }
    void sync() override { x11_->sync(); }
    void settle() override { x11_->x11Workspace().settle(seconds(30)); }
    void reopen() override { x11_ = TWX11Desktop::open(); }
    TWDriverProgram fileManager() const override {
        return {{"pcmanfm", desktop_.home()}, "pcmanfm"};
    }
    TWDriverProgram terminal() const override { return client("terminal,Terminal", "Terminal"); }
    // With a runtime directory of its own, so that it does not hand its window to the first.
    TWDriverProgram secondFileManager() const override {
        const std::string own = desktop_.home() + "/second";
        mkdir(own.c_str(), 0700);
        return {
            {"env", "XDG_CACHE_HOME=" + own, "XDG_RUNTIME_DIR=" + own, "pcmanfm", desktop_.home()},
            "pcmanfm"};
    }
    TWDriverProgram flower() const override {
        return client("flower,Flower", "org.example.Flower");
    }
    // Of the windows seen: a window manager that is gone lists none.
    std::set<std::string> marks() override {
        std::set<std::string> marked;
        for (const auto& w : seen_)
            if (desktop_.hasHiddenMark(std::stoul(w)))
                marked.insert(w);
        return marked;
    }
    // A GTK program's first window takes long on a loaded machine (icon theme, fonts).
    std::string windowOf(pid_t pid) override {
        std::vector<unsigned long> windows;
        waitFor([&] { return !(windows = desktop_.windowsOfPid(pid)).empty(); }, seconds(45));
        for (auto w : windows)
            seen_.insert(std::to_string(w));
        return windows.empty() ? std::string() : std::to_string(windows.front());
    }
    // None when xwininfo finds no such window.
    std::optional<bool> isMinimized(const std::string& window) override {
        if (run({"xwininfo", "-id", window}).find("Window id") == std::string::npos)
            return std::nullopt;
        const std::string out =
            propertyOf(window, "WM_STATE") + propertyOf(window, "_NET_WM_STATE");
        return out.find(hiddenState_ ? "_NET_WM_STATE_HIDDEN" : "Iconic") != std::string::npos;
    }
    std::string activeWindow() override {
        const unsigned long active = desktop_.activeWindow();
        return active ? std::to_string(active) : std::string();
    }
    void minimizeByHand(const std::string& window, bool minimized) override {
        run(minimized ? std::vector<std::string>{"xdotool", "windowminimize", window}
                      : std::vector<std::string>{"wmctrl", "-i", "-a", window});
    }
    void activateByHand(const std::string& window) override { run({"wmctrl", "-i", "-a", window}); }
    std::shared_ptr<void> churnFocus(const std::vector<std::string>& windows) override {
        return TWEvery20ms([windows](std::size_t n) {
            run({"wmctrl", "-i", "-a", windows[n % windows.size()]});
        });
    }
    // The window manager stopped: every restore is left unanswered until it continues.
    void refuseRestores(const std::string&, int times) override {
        stopped_ = times > 0;
        kill(desktop_.windowManagerPid(), stopped_ ? SIGSTOP : SIGCONT);
    }
    void setServiceGone(bool gone) override {
        if (gone)
            desktop_.killWindowManager();
        else
            ASSERT_TRUE(desktop_.restartWindowManager());
    }
    std::string lacks(TWDriverFeature feature) const override {
        switch (feature) {
        case TWDriverFeature::Workspaces:
            return windowManager_ != "fluxbox"
                       ? std::string()
                       : "fluxbox 1.3.5 restores a window minimized a second before one time "
                         "and not the next (seen with xlogo alone)";
        case TWDriverFeature::RefusedPerWindow:
            return "a stopped window manager refuses every window's restore";
        case TWDriverFeature::Outputs:
            return desktop_.outputs() > 1 ? std::string()
                                          : windowManager_ + " sees Xvfb's one output, not the "
                                                             "monitors it is split into";
        case TWDriverFeature::LateMinimize:
            return "X11 waits for another process's minimize only up to its answer bound (5 s), "
                   "then takes the window for shown";
        default:
            return {};
        }
    }
    int currentWorkspace() override { return numberOf("root", "_NET_CURRENT_DESKTOP"); }
    int workspaceOf(const std::string& window) override {
        return numberOf(window, "_NET_WM_DESKTOP");
    }
    void moveToWorkspace(const std::string& window, int n) override {
        run({"wmctrl", "-i", "-r", window, "-t", std::to_string(n)});
        ASSERT_TRUE(waitFor([&] { return workspaceOf(window) == n; })) << run({"wmctrl", "-l"});
    }
    void switchToWorkspace(int n) override {
        run({"wmctrl", "-s", std::to_string(n)});
        ASSERT_TRUE(waitFor([&] { return currentWorkspace() == n; }))
            << run({"xprop", "-root", "_NET_CURRENT_DESKTOP"}) << run({"wmctrl", "-d"});
    }

    // The monitor holding the window's centre; moved as the user would drag it.
    int outputOf(const std::string& window) override {
        std::istringstream lines(run({"xwininfo", "-id", window}));
        int x = 0, width = -1;
        for (std::string line; std::getline(lines, line);) {
            std::sscanf(line.c_str(), "  Absolute upper-left X: %d", &x);
            std::sscanf(line.c_str(), "  Width: %d", &width);
        }
        return width < 0 ? -1 : (x + width / 2) / TWTestSession::kOutputWidth;
    }
    void moveToOutput(const std::string& window, int output) override {
        run({"wmctrl", "-i", "-r", window, "-e",
             "0," + std::to_string(TWTestSession::kOutputWidth * output + 100) + ",100,-1,-1"});
        EXPECT_TRUE(waitFor([&] { return outputOf(window) == output; })) << run({"wmctrl", "-lG"});
    }

  private:
    static TWDriverProgram client(const std::string& cls, const std::string& identifier) {
        return {{TWTestDesktop::testClientPath(), "--class", cls}, identifier};
    }
    std::string windowManager_, error_;
    TWTestDesktop& desktop_;
    std::unique_ptr<TWX11Desktop> x11_;
    std::set<std::string> seen_;
    bool hiddenState_ = false, stopped_ = false;
};

constexpr char kOpenbox[] = "openbox", kMutter[] = "mutter";

// Every window manager; CTest runs the scenarios on openbox and a subset on the others (one
// entry each).
INSTANTIATE_TEST_SUITE_P(X11, TWScenarioTest, ::testing::ValuesIn([] {
                             std::vector<TWDriverMaker> all;
                             for (const char* wm :
                                  {kOpenbox, "xfwm4", "kwin_x11", kMutter, "muffin", "metacity",
                                   "marco", "icewm", "fluxbox"})
                                 all.push_back(TWMakeDriver<TWX11Driver>(wm, std::string(wm)));
                             return all;
                         }()),
                         TWDriverName);

class TWX11DesktopTest : public ::testing::Test {
  protected:
    explicit TWX11DesktopTest(const char* windowManager = kOpenbox)
        : windowManager_(windowManager) {}
    void SetUp() override {
        desktop_ = &desktopWith(windowManager_);
        ASSERT_TRUE(desktop_->ok()) << desktop_->error();
        x11_ = TWX11Desktop::open();
        ASSERT_NE(x11_, nullptr);
        log_.clear();
    }
    void TearDown() override {
        common_.reset();
        x11_.reset();
        for (pid_t pid : clients_)
            desktop_->terminate(pid);
    }
    pid_t client(const std::vector<std::string>& options, int windows = 1) {
        clients_.push_back(desktop_->spawnTestClient(options, windows));
        return clients_.back();
    }
    void end(pid_t pid) {
        desktop_->terminate(pid);
        std::erase(clients_, pid);
        ASSERT_TRUE(waitFor([&] { return windowsOf(pid).empty(); }));
    }
    std::optional<TWRunningApplication> appWithPid(int pid) {
        for (const auto& app : x11_->workspace().runningApplications())
            if (app.processIdentifier == pid)
                return app;
        return std::nullopt;
    }
    std::vector<unsigned long> windowsOf(pid_t pid) { return desktop_->windowsOfPid(pid); }
    // Tidewell's actions with the settings registered as at launch.
    TWCommon& common() {
        if (!common_) {
            TWRegisterDefaults(standard_, shared_);
            common_ = std::make_unique<TWCommon>(*x11_, shared_);
        }
        return *common_;
    }
    bool becomesIconic(unsigned long w) {
        return waitFor([&] { return desktop_->isIconic(w); });
    }

    const char* windowManager_;
    TWTestDesktop* desktop_ = nullptr;
    std::unique_ptr<TWX11Desktop> x11_;
    TWUserDefaults standard_{std::make_shared<TWSimDefaultsStore>()},
        shared_{std::make_shared<TWSimDefaultsStore>()};
    std::unique_ptr<TWCommon> common_;
    std::vector<pid_t> clients_;
    TWLogCapture capture_;
    std::vector<std::string>& log_ = capture_.lines;
};

// What a script sees of a tidewellctl run: its exit status (-1: it did not exit) and output.
struct TWToolRun {
    int status;
    std::string out;
};
TWToolRun tidewellctl(const std::string& arguments, const std::string& environment = {}) {
    FILE* pipe = ::popen(
        (environment + " " + TWTestProgramPath("tidewellctl") + " " + arguments + " 2>&1").c_str(),
        "r");
    TWToolRun said{-1, {}};
    char buffer[4096];
    for (size_t n; pipe && (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        said.out.append(buffer, n);
    const int status = pipe ? ::pclose(pipe) : -1;
    said.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return said;
}

TEST_F(TWX11DesktopTest, ListsApplicationsInLaunchOrderWithIdentityPolicyAndName) {
    desktop_->writeDesktopEntry("epsilon", "[Desktop Entry]\nType=Application\nName=Epsilon\n"
                                           "Exec=epsilon\n");
    x11_ = TWX11Desktop::open();
    pid_t beta = client({"--class", "beta,Beta"}, 2);
    pid_t epsilon = client({"--class", "eps,Epsilon"});
    // A toolkit's application ID counts only when an entry has that ID.
    pid_t gtk = client({"--class", "gtk,Gtk", "--gtk-id", "org.example.GtkApp"});
    pid_t gtkNamed = client({"--class", "gtk2,Gtk2", "--gtk-id", "epsilon"});
    pid_t skipper = client({"--class", "skip,Skip", "--state", "SKIP_TASKBAR"});
    pid_t utility = client({"--class", "util,Util", "--type", "UTILITY"});
    // Listed by wmctrl without a pid (Tidewell asks the X-Resource extension).
    pid_t nameless = client({"--nameless", "--title", "no class at all"}, 0);
    ASSERT_TRUE(waitFor([&] { return appWithPid(nameless).has_value(); }));
    pid_t xterm = desktop_->spawn({"xterm"});
    clients_.push_back(xterm);
    ASSERT_TRUE(waitFor([&] { return !windowsOf(xterm).empty(); }));
    // A desktop window (not listed by wmctrl) never makes its application regular.
    pid_t desk = client({"--class", "desk,Desk", "--type", "DESKTOP"}, 0);
    ASSERT_TRUE(waitFor([&] { return appWithPid(desk).has_value(); }));

    auto apps = x11_->workspace().runningApplications();
    auto indexOf = [&](pid_t pid) {
        auto it = std::find_if(apps.begin(), apps.end(),
                               [&](const auto& a) { return a.processIdentifier == pid; });
        return it == apps.end() ? -1 : static_cast<int>(it - apps.begin());
    };
    std::vector<pid_t> launched{beta,    epsilon,  gtk,   gtkNamed, skipper,
                                utility, nameless, xterm, desk};
    for (size_t i = 0; i < launched.size(); ++i) {
        ASSERT_GE(indexOf(launched[i]), 0) << "client " << i << " not listed";
        EXPECT_LT(i > 0 ? indexOf(launched[i - 1]) : -1, indexOf(launched[i])) << "order at " << i;
    }
    auto app = [&](pid_t pid) { return apps[static_cast<size_t>(indexOf(pid))]; };
    // Two windows of one process are one application.
    EXPECT_EQ(std::count_if(apps.begin(), apps.end(),
                            [&](const auto& a) { return a.bundleIdentifier == "Beta"; }),
              1);
    EXPECT_EQ(app(epsilon).bundleIdentifier, "epsilon");
    EXPECT_EQ(app(gtk).bundleIdentifier, "Gtk");
    EXPECT_EQ(app(gtkNamed).bundleIdentifier, "epsilon");
    EXPECT_EQ(app(xterm).bundleIdentifier, "debian-xterm");
    EXPECT_EQ(app(xterm).localizedName, "XTerm");
    EXPECT_FALSE(app(nameless).bundleIdentifier.has_value());
    EXPECT_EQ(app(nameless).localizedName, "no class at all");
    EXPECT_EQ(app(skipper).activationPolicy, TWActivationPolicyAccessory);
    EXPECT_EQ(app(utility).activationPolicy, TWActivationPolicyAccessory);
    EXPECT_EQ(app(desk).activationPolicy, TWActivationPolicyProhibited);
    // Hiding the desktop's application touches nothing: that window is none of its windows.
    x11_->workspace().hide(app(desk));
    x11_->sync();
    for (auto w : windowsOf(desk))
        EXPECT_FALSE(desktop_->isIconic(w) || desktop_->hasHiddenMark(w));

    // An application installed or removed while running changes its identity at once.
    const std::string entry = desktop_->dataHome() + "/applications/org.example.Beta.desktop";
    TWWriteFile(entry, "[Desktop Entry]\nType=Application\nName=Beta Editor\nExec=beta\n"
                       "StartupWMClass=Beta\n");
    EXPECT_EQ(appWithPid(beta)->bundleIdentifier, "org.example.Beta");
    EXPECT_EQ(appWithPid(beta)->localizedName, "Beta Editor");
    std::remove(entry.c_str());
    EXPECT_EQ(appWithPid(beta)->bundleIdentifier, "Beta");
}

// Tidewell (here this test program stands in for it) is listed through its registration, once,
// by the tool too, which never lists itself; a registration whose process has ended is dropped.
TEST_F(TWX11DesktopTest, RegisteredProcessesAreListedOnceAndStaleOnesDropped) {
    TWProcessRegistry::registerCurrentProcess(TWOwnBundleIdentifier, TWOwnName, 0);
    // A registration left behind by a process that has ended (above the largest pid).
    const pid_t gone = 0x7ffffffe;
    std::string stale =
        TWProcessRegistry::registryDirectory() + "/" + std::to_string(gone) + ".process";
    TWWriteFile(stale, "pid=" + std::to_string(gone) +
                           "\nbundleID=net.quillfen.TidewellStatus\nname=x\npolicy=1\nstart=1\n"
                           "sequence=1\n");
    auto registered = TWProcessRegistry::registeredProcesses();
    ASSERT_EQ(registered.size(), 1u);
    EXPECT_EQ(registered[0].pid, getpid());
    const std::string listed = tidewellctl("list").out;
    const size_t first = listed.find(TWOwnBundleIdentifier);
    EXPECT_NE(first, std::string::npos) << listed;
    EXPECT_EQ(listed.find(TWOwnBundleIdentifier, first + 1), std::string::npos) << listed;

    // A client claiming Tidewell's pid in _NET_WM_PID is another application all the same,
    // listed under its real process and hidden like any other.
    const pid_t impostor =
        desktop_->spawn({TWTestDesktop::testClientPath(), "--class", "impostor,Impostor", "--pid",
                         std::to_string(getpid())});
    clients_.push_back(impostor);
    ASSERT_TRUE(waitFor([&] { return windowsOf(getpid()).size() == 1; }));
    const auto other = appWithPid(impostor);
    ASSERT_TRUE(other);
    EXPECT_EQ(other->bundleIdentifier, "Impostor");
    EXPECT_EQ(appWithPid(getpid())->bundleIdentifier, TWOwnBundleIdentifier);
    x11_->workspace().hide(*other);
    x11_->workspace().flush();
    EXPECT_TRUE(becomesIconic(windowsOf(getpid()).at(0)));
    desktop_->terminate(impostor);
    std::erase(clients_, impostor);
    ASSERT_TRUE(waitFor([&] { return windowsOf(getpid()).empty(); }));
    TWProcessRegistry::unregisterCurrentProcess();
}

TEST_F(TWX11DesktopTest, KeyboardModifiersFollowTheKeys) {
    // Shift held at a click makes it a show-all: read from the keyboard as it is now.
    run({"xdotool", "keydown", "shift", "keydown", "ctrl"});
    EXPECT_EQ(x11_->keyboard().currentKeyModifiers(), TWShiftKey | TWControlKey);
    run({"xdotool", "keyup", "shift", "keyup", "ctrl"});
    EXPECT_EQ(x11_->keyboard().currentKeyModifiers(), 0u);
}

// The command-line tool: what a script sees (status, message) for each kind of command line; it
// reads the user's settings files as the application does, and --exclude and --set change only
// the run, never the files.
TEST_F(TWX11DesktopTest, TheToolUsesTheSettingsFilesNeverWritesThemAndExitsAsDocumented) {
    auto tool = [](const std::string& arguments) { return tidewellctl(arguments).status; };
    // (arguments, environment, status, what the output says, what it must not say)
    const struct {
        const char *arguments, *environment;
        int status;
        const char *says, *never;
    } cases[] = {
        {"", "", 2, "Try 'tidewellctl --help'", "commands:"},
        {"frobnicate", "", 2, "frobnicate", "commands:"},
        {"--set NoEqualsSign list", "", 2, "KEY=VALUE", nullptr},
        {"--bogus list", "", 2, "unknown option --bogus", "commands:"},
        {"list --exclude", "", 2, "--exclude", nullptr},
        {"--set Nonsense=1 list", "", 2, "unknown setting Nonsense", nullptr},
        {"--set Minimize=maybe list", "", 2, "Minimize takes YES or NO, not 'maybe'", nullptr},
        {"--set IconStyle2=3 list", "", 2, "IconStyle2 takes 1, 2, 4 or 5", nullptr},
        {"--set Minimize=NO --set ShowAllShortcut=ctrl+alt+k --set IconStyle2=4 list", "", 0, "ID",
         "tidewellctl:"},
        {"toggle no.such.App", "", 4, "no running application has the ID no.such.App", nullptr},
        {"--exclude no.such.App list", "", 0, "warning: --exclude no.such.App", nullptr},
        {"--display :4999 list", "", 1, "cannot open the X11 display :4999", "TWX11Connection"},
        {"list", "LANG=de_DE.UTF-8 WAYLAND_DISPLAY=tw-none DISPLAY=", 1,
         "keine Verbindung zur Wayland-Anzeige tw-none", "cannot connect"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.environment) + " tidewellctl " + c.arguments);
        const TWToolRun said = tidewellctl(c.arguments, c.environment);
        EXPECT_EQ(said.status, c.status) << said.out;
        EXPECT_NE(said.out.find(c.says), std::string::npos) << said.out;
        if (c.never) {
            EXPECT_EQ(said.out.find(c.never), std::string::npos) << said.out;
        }
    }

    // The user has excluded "Keep".
    TWPlistFileStore sharedStore(TWStorePaths::sharedStorePath());
    ASSERT_TRUE(sharedStore.update([](TWPlistDictionary& values) {
        TWPlistDictionary record{{TWExcludedNameField, std::string("Keep")},
                                 {TWExcludedBundleIDField, std::string("Keep")},
                                 {TWExcludedURLDataField, TWPlistData{}}};
        values[TWExcludedAppsKey] = TWPlistArray{TWPlistValue(record)};
    }));
    const std::string before = TWReadFile(TWStorePaths::sharedStorePath());
    const unsigned long keep = windowsOf(client({"--class", "keep,Keep"})).at(0);
    const unsigned long spare = windowsOf(client({"--class", "spare,Spare"})).at(0);
    const unsigned long other = windowsOf(client({"--class", "other,Other"})).at(0);
    // An exclusion for this run only comes on top of the file's.
    EXPECT_EQ(tool("--exclude Spare --set ShowFinder=NO hide-others"), 0);
    EXPECT_TRUE(becomesIconic(other));
    EXPECT_FALSE(desktop_->isIconic(keep)) << "excluded in the settings file";
    EXPECT_FALSE(desktop_->isIconic(spare)) << "excluded for the run";
    EXPECT_EQ(TWReadFile(TWStorePaths::sharedStorePath()), before);
    EXPECT_FALSE(std::ifstream(TWStorePaths::ownStorePath()).good()) << "no file was created";
    EXPECT_EQ(tool("show-all"), 0);
    EXPECT_TRUE(waitFor([&] { return !desktop_->isIconic(other); }));
    std::remove(TWStorePaths::sharedStorePath().c_str());
}

// On mutter (run with its scenarios): a window the window manager lets no one minimize (Motif
// hints without the minimize function, so _NET_WM_ALLOWED_ACTIONS lacks it; openbox and
// kwin_x11 ignore them) is skipped at once and named, by the tool too, whose status tells a script
// that something stayed shown.
class TWX11MutterTest : public TWX11DesktopTest {
  protected:
    TWX11MutterTest() : TWX11DesktopTest(kMutter) {}
};

TEST_F(TWX11MutterTest, AWindowNoOneMayMinimizeIsSkippedAtOnceAndNamed) {
    const unsigned long other = windowsOf(client({"--class", "other,Other"})).at(0);
    const unsigned long pane =
        windowsOf(client({"--class", "Fixed,Fixed", "--title", "Fixed Pane", "--no-minimize"}))
            .at(0);
    const auto start = std::chrono::steady_clock::now();
    common().showFinderHideOthers();
    ASSERT_TRUE(x11_->x11Workspace().settle(seconds(30)));
    EXPECT_LT(std::chrono::steady_clock::now() - start, TWX11Workspace::kAnswerBound);
    EXPECT_TRUE(becomesIconic(other));
    EXPECT_FALSE(desktop_->isMinimized(pane) || desktop_->hasHiddenMark(pane));
    const TWToolRun said = tidewellctl("--set ShowFinder=NO hide-others");
    EXPECT_EQ(said.status, 5) << said.out;
    EXPECT_NE(said.out.find("\"Fixed Pane\""), std::string::npos) << said.out;
    EXPECT_FALSE(desktop_->isMinimized(pane) || desktop_->hasHiddenMark(pane));
    common().showAll();
    EXPECT_TRUE(x11_->x11Workspace().settle(seconds(30)));
}

// A Tk program, which sets no _NET_WM_PID, run as users run it ("wish sketch.tcl": no -class, no
// desktop entry; its main window's class comes from the script's name, every further toplevel's
// is the generic "Toplevel"): one application, under its main window's class.
TEST_F(TWX11DesktopTest, ATkProgramIsOneApplication) {
    const std::string sketch = desktop_->home() + "/sketch.tcl";
    TWWriteFile(sketch, "wm title . Sketch\ntoplevel .tools\nwm title .tools Tools\n"
                        "toplevel .layers\nwm title .layers Layers\n");
    clients_.push_back(desktop_->spawn({"wish", sketch}));
    const pid_t sketchPid = clients_.back();
    ASSERT_TRUE(waitFor([&] {
        int found = 0;
        for (const auto& w : desktop_->windows())
            found += w.title == "Sketch" || w.title == "Tools" || w.title == "Layers";
        return found == 3;
    }));
    std::vector<TWRunningApplication> apps;
    for (const auto& app : x11_->workspace().runningApplications())
        if (app.processIdentifier == sketchPid)
            apps.push_back(app);
    ASSERT_EQ(apps.size(), 1u) << "one application for the sketch's windows";
    EXPECT_EQ(apps[0].bundleIdentifier, "Sketch.tcl");
    EXPECT_EQ(apps[0].localizedName, "Sketch.tcl");
}

// i3 ignores minimize requests: nothing is hidden, nothing stays marked, and it is said once,
// by the tool too, with its own status.
class TWX11NonMinimizingTest : public TWX11DesktopTest {
  protected:
    TWX11NonMinimizingTest() : TWX11DesktopTest("i3") {}
};

TEST_F(TWX11NonMinimizingTest, CannotHideAndSaysSo) {
    ASSERT_EQ(windowsOf(client({"--class", "Alpha,Alpha"}, 2)).size(), 2u);
    client({"--class", "Beta,Beta"});
    common().showFinderHideOthers();
    ASSERT_TRUE(x11_->x11Workspace().settle(seconds(30)));
    for (const auto& w : desktop_->windows())
        EXPECT_FALSE(desktop_->isIconic(w.id) || desktop_->hasHiddenMark(w.id)) << w.title;
    ASSERT_EQ(log_.size(), 1u);
    EXPECT_NE(log_[0].find("does not minimize"), std::string::npos) << log_[0];
    EXPECT_EQ(tidewellctl("hide-others").status, 3);
    for (const auto& w : desktop_->windows())
        EXPECT_FALSE(desktop_->hasHiddenMark(w.id)) << w.title;
}

// Last: windows vanish under the actions, then the server itself. A request for a window that
// is gone is skipped with at most one line (hiding an application: one, whatever its windows);
// once the server died every operation is a no-op that waits for no answer, the loss said once.
TEST_F(TWX11DesktopTest, RequestsForVanishedWindowsOrADeadServerAreSkippedWithAtMostOneLine) {
    std::signal(SIGPIPE, SIG_IGN); // a write to the dead server's socket must not end us
    auto& workspace = x11_->workspace();
    // Everything the actions hold on to, fetched while the windows still exist.
    std::optional<TWRunningApplication> app;
    std::unique_ptr<TWScriptedFileManager> scripted;
    std::shared_ptr<TWScriptingWindow> window;
    auto holdOn = [&](pid_t pid, const std::string& identifier) {
        app = appWithPid(pid);
        scripted = x11_->scriptingBridge().applicationWithBundleIdentifier(identifier);
        window = scripted->FinderWindows()->firstObject();
        ASSERT_TRUE(app && window);
    };
    const std::vector<std::pair<const char*, std::function<void()>>> operations = {
        {"hide", [&] { workspace.hide(*app); }},
        {"unhide", [&] { workspace.unhide(*app); }},
        {"activate",
         [&] { workspace.activateWithOptions(*app, TWApplicationActivateIgnoringOtherApps); }},
        {"collapse", [&] { window->setCollapsed(true); }},
        {"close", [&] { window->close(); }},
        {"list", [&] { EXPECT_FALSE(appWithPid(app->processIdentifier)); }},
        {"count", [&] { EXPECT_EQ(scripted->FinderWindows()->count(), 0u); }},
        {"modifiers", [&] { EXPECT_EQ(x11_->keyboard().currentKeyModifiers(), 0u); }},
        {"beep", [&] { x11_->systemSound().beep(); }},
    };
    // Each operation in turn; `apart`: each says at most one line.
    auto runAll = [&](bool apart) {
        for (const auto& [name, operation] : operations) {
            SCOPED_TRACE(name);
            if (apart)
                log_.clear();
            operation();
            workspace.flush();
            x11_->dispatchPendingEvents();
            x11_->sync();
            EXPECT_TRUE(!apart || log_.size() <= 1u) << ::testing::PrintToString(log_);
        }
    };

    pid_t listed = client({"--class", "doomed,Doomed"}, 3);
    pid_t doomed = client({"--class", "vanishing,Vanishing"}, 2);
    workspace.hide(*appWithPid(doomed));
    workspace.flush();
    for (auto w : windowsOf(doomed))
        ASSERT_TRUE(becomesIconic(w));
    ASSERT_NO_FATAL_FAILURE(holdOn(doomed, "Vanishing"));
    ASSERT_TRUE(app->hidden);
    const auto shown = appWithPid(listed);
    ASSERT_NO_FATAL_FAILURE(end(listed));
    ASSERT_NO_FATAL_FAILURE(end(doomed));
    workspace.hide(*shown);
    workspace.flush();
    x11_->sync();
    ASSERT_EQ(log_.size(), 1u) << ::testing::PrintToString(log_);
    EXPECT_NE(log_[0].find("already closed"), std::string::npos) << log_[0];
    runAll(true);
    EXPECT_FALSE(x11_->connection().hasError());

    ASSERT_NO_FATAL_FAILURE(holdOn(client({"--class", "lost,Lost"}, 2), "Lost"));
    x11_->frontSwitchSource().installFrontSwitchHandler([] {});
    log_.clear();
    desktop_->killServer();
    const auto start = std::chrono::steady_clock::now();
    for (int round = 0; round < 2; ++round) {
        runAll(false);
        EXPECT_TRUE(workspace.runningApplications().empty());
    }
    x11_.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, seconds(3));
    ASSERT_EQ(log_.size(), 1u) << ::testing::PrintToString(log_);
    EXPECT_NE(log_[0].find("broken"), std::string::npos) << log_[0];
    for (pid_t c : std::exchange(clients_, {}))
        desktop_->terminate(c);
    sharedDesktop.reset(); // the next test starts another desktop
}

// Hostile applications folders: two links back to the folder itself, a FIFO and a link to
// /dev/zero named like entries, an oversized entry and an entry 40 folders deep. The index
// finishes, reads each folder once, skips what is not a small regular file and gives every real
// entry its desktop-entry ID. Then the entries' Exec lines and localized names.
TEST(TWDesktopEntryIndexTest, HostileFoldersAreReadOnceAndBoundedExecLinesAndLocalizedNames) {
    namespace fs = std::filesystem;
    const TWTempDir data("tw-hostile");
    const fs::path apps = data.path / "applications";
    fs::path deep = apps;
    for (int i = 0; i < 40; ++i)
        deep /= "d";
    fs::create_directories(deep);
    const std::string foo = "[Desktop Entry]\nType=Application\nName=Foo\nExec=foo\n";
    TWWriteFile(apps / "foo.desktop", foo);
    TWWriteFile(deep / "deep.desktop", foo);
    TWWriteFile(apps / "big.desktop", foo + std::string(2 << 20, '#'));
    fs::create_directory_symlink(".", apps / "a");
    fs::create_directory_symlink("..", apps / "b");
    ASSERT_EQ(mkfifo((apps / "fifo.desktop").c_str(), 0600), 0);
    fs::create_symlink("/dev/zero", apps / "zero.desktop");

    const TWDesktopEntryIndex index({data.path.string()});
    EXPECT_NE(index.entryForID("foo"), nullptr);
    std::string deepID;
    for (int i = 0; i < 40; ++i)
        deepID += "d-";
    EXPECT_NE(index.entryForID(deepID + "deep"), nullptr);
    for (const char* id : {"a-foo", "b-applications-foo", "fifo", "zero", "big"})
        EXPECT_EQ(index.entryForID(id), nullptr) << id;
    EXPECT_EQ(index.mainEntryForProgram("foo")->id, "foo");

    using V = std::vector<std::string>;
    EXPECT_EQ(TWDesktopEntryIndex::commandLineFromExec(
                  "\"/opt/my app/bin/run\" --name=\"a \\\"b\\\"\" 100%% %f"),
              (V{"/opt/my app/bin/run", "--name=a \"b\"", "100%"}));
    EXPECT_EQ(TWDesktopEntryIndex::commandLineFromExec("\"unterminated"), V{"unterminated"});
    TWDesktopEntry entry;
    entry.name = {{"", "Files"}, {"de", "Dateien"}, {"de_AT", "Dateien (AT)"}, {"sr@latin", "L"}};
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry, "de_AT.UTF-8"), "Dateien (AT)");
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry, "de_CH.UTF-8"), "Dateien");
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry, "sr_RS@latin"), "L");
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry, "C"), "Files");
    // The user's languages in GLib's order: LANGUAGE's list (unknown ones skipped) before LC_ALL.
    setenv("LANGUAGE", "xx:sr@latin:de", 1);
    setenv("LC_ALL", "en_US.UTF-8", 1);
    EXPECT_EQ(TWDesktopEntryIndex::localizedName(entry), "L");
    unsetenv("LANGUAGE");
    unsetenv("LC_ALL");
}

} // namespace
