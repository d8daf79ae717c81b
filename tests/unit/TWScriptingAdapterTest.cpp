// SPDX-License-Identifier: MIT
// The scripting terms the adapter serves over a backend's window operations: arrays and counts
// that answer for the file manager now, window objects that outlive their windows, and the
// new-window object's one window.
#include "TWScriptingAdapter.h"

#include <gtest/gtest.h>

using Log = std::vector<std::string>;
using WindowId = TWFileManagerWindows::WindowId;

namespace {

// A file manager whose windows the test changes at will; every operation that reaches it is
// recorded.
struct Desk {
    std::vector<WindowId> windows; // front to back
    WindowId next = 100;
    Log operations;
    Log trace;
};

struct DeskWindows : TWFileManagerWindows {
    explicit DeskWindows(Desk& desk) : desk_(desk) {}
    std::vector<WindowId> windows() override { return desk_.windows; }
    void setCollapsed(WindowId w, bool collapsed) override {
        desk_.operations.push_back((collapsed ? "collapse " : "expand ") + std::to_string(w));
    }
    void close(WindowId w) override {
        desk_.operations.push_back("close " + std::to_string(w));
        std::erase(desk_.windows, w);
    }
    void openWindow() override {
        desk_.operations.push_back("open");
        desk_.windows.insert(desk_.windows.begin(), desk_.next++);
    }
    std::string newWindowLocation() override { return "file:///home/u/"; }
    Desk& desk_;
};

struct Fixture {
    Desk desk;
    TWScriptingAdapter adapter{
        [this](const std::string& id) -> std::unique_ptr<TWFileManagerWindows> {
            return id == "fm" ? std::make_unique<DeskWindows>(desk) : nullptr;
        },
        [this](const std::string& request) { desk.trace.push_back(request); }};
};

WindowId idOf(const std::shared_ptr<TWScriptingWindow>& window) {
    auto* ours = dynamic_cast<TWScriptingAdapterWindow*>(window.get());
    return ours ? ours->window() : 0;
}

} // namespace

// A fetched array answers for the windows of now; a new-window object opens one window on the
// file manager's own location.
TEST(TWScriptingAdapter, ArraysAnswerForTheWindowsOfNowANewWindowObjectOpensOneWindow) {
    Fixture f;
    f.desk.windows = {1, 2, 3};
    auto fm = f.adapter.applicationWithBundleIdentifier("fm");
    ASSERT_NE(fm, nullptr);
    auto held = fm->FinderWindows();
    auto front = held->firstObject();
    EXPECT_EQ(idOf(front), 1u);
    front->close();
    EXPECT_EQ(held->count(), 2u) << "a held array counts again";
    EXPECT_EQ(idOf(held->firstObject()), 2u);

    // A window that goes between the count and the first element: none, and no fault.
    f.desk.windows = {3};
    EXPECT_EQ(held->count(), 1u);
    f.desk.windows.clear();
    EXPECT_EQ(held->firstObject(), nullptr);

    front->setCollapsed(false); // the object still names its window; the backend decides
    EXPECT_EQ(f.desk.operations, (Log{"close 1", "expand 1"}));
    EXPECT_EQ(f.desk.trace.front(), "scripting fm");
    EXPECT_EQ(f.adapter.applicationWithBundleIdentifier("other"), nullptr);

    f.desk.windows = {1};
    f.desk.operations.clear();
    EXPECT_EQ(fm->newObjectOfScriptingClass("Finder folder"), nullptr);
    auto created = fm->newObjectOfScriptingClass("Finder window");
    ASSERT_NE(created, nullptr);

    // Before it is added it names no window: nothing reaches the file manager.
    created->setCollapsed(true);
    created->close();
    created->setTarget("file:///elsewhere/");
    EXPECT_TRUE(f.desk.operations.empty());

    fm->FinderWindows()->addObject(created);
    fm->FinderWindows()->addObject(created);
    fm->FinderWindows()->addObject(fm->FinderWindows()->firstObject());
    EXPECT_EQ(f.desk.operations, Log{"open"}) << "one window, however often it is added";
    EXPECT_EQ(f.desk.windows, (std::vector<WindowId>{100, 1}));
    created->setCollapsed(true); // the object does not learn which window opened
    EXPECT_EQ(f.desk.operations, Log{"open"});
    EXPECT_EQ(f.desk.trace.back(), "collapse <new>");
}
