// SPDX-License-Identifier: MIT
// The preferences on Qt's offscreen platform: from the URL request to the window shown (first
// time, with the window built, and again), and the exclusion list's rebuild of 200 records with
// the main thread's share of it.
#include "ExcludeController.h"
#include "PreferencesController.h"
#include "TWAlertPresenter.h"
#include "TWBookmark.h"
#include "TWSettings.h"
#include "TWSimDefaultsStore.h"
#include "TWSimDesktop.h"
#include "TWSimLoginItemList.h"
#include "TWSimServiceManagement.h"
#include "TWUserDefaults.h"
#include "TidewellAppDelegate.h"

#include <QApplication>
#include <QEventLoop>
#include <QTest>
#include <QTimer>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <fstream>
#include <time.h>

namespace {

QApplication& application() {
    static int argc = 1;
    static char name[] = "TidewellPreferencesBench";
    static char* argv[] = {name, nullptr};
    // The window is measured, not looked at: no display is needed unless one is asked for.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    static auto* app = new QApplication(argc, argv);
    return *app;
}

class SilentPresenter : public TWAlertPresenter {
  public:
    long runModal(const TWAlert&) override { return 1001; }
};

struct Fixture {
    Fixture() {
        application();
        TWRegisterDefaults(standard, shared);
    }
    TWPreferencesServices services() {
        TWPreferencesServices s;
        s.standardDefaults = &standard;
        s.sharedDefaults = &shared;
        s.alertPresenter = &presenter;
        s.serviceManagement = &serviceManagement;
        s.loginItems = &loginItems;
        s.applicationPath = "/usr/bin/tidewell";
        return s;
    }
    TWUserDefaults standard{std::make_shared<TWSimDefaultsStore>()};
    TWUserDefaults shared{std::make_shared<TWSimDefaultsStore>()};
    SilentPresenter presenter;
    TWSimServiceManagement serviceManagement;
    TWSimLoginItemList loginItems;
    TWSimDesktop desktop;
};

// The URL request as the running instance receives it, handled by the delegate, until the
// window is exposed. `reuse`: the window exists (a later opening); otherwise it is built.
void urlToPreferencesShown(benchmark::State& state, bool reuse) {
    Fixture fixture;
    std::unique_ptr<PreferencesController> controller;
    TidewellAppServices appServices;
    appServices.desktop = &fixture.desktop;
    appServices.registerURLHandler = [](auto) {};
    appServices.displayPreferences = [&] {
        if (!controller)
            controller = std::make_unique<PreferencesController>(fixture.services());
        controller->display();
    };
    TidewellAppDelegate delegate(appServices);
    for (auto _ : state) {
        delegate.getUrl("x-tidewell-action://preferences");
        if (!QTest::qWaitForWindowExposed(controller->prefsWindow()))
            state.SkipWithError("the window was never exposed");
        state.PauseTiming();
        controller->prefsWindow()->close();
        if (!reuse)
            controller.reset();
        QCoreApplication::processEvents();
        state.ResumeTiming();
    }
}
void BM_URLToPreferencesShown_FirstTime(benchmark::State& state) {
    urlToPreferencesShown(state, false);
}
void BM_URLToPreferencesShown_Again(benchmark::State& state) {
    urlToPreferencesShown(state, true);
}
BENCHMARK(BM_URLToPreferencesShown_FirstTime)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_URLToPreferencesShown_Again)->Unit(benchmark::kMillisecond);

double threadCPUMilliseconds() {
    timespec t{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &t);
    return t.tv_sec * 1e3 + t.tv_nsec / 1e6;
}

// 200 stored records of 200 entries; from the controller's creation to its rows applied. The
// main thread waits in its event loop meanwhile; its CPU time is its share of the work.
void BM_ExclusionListRebuild200(benchmark::State& state) {
    Fixture fixture;
    const std::string data = std::filesystem::temp_directory_path() / "tidewell-bench-exclude";
    std::filesystem::create_directories(data + "/applications");
    TWPlistArray records;
    for (int i = 0; i < 200; ++i) {
        const std::string id = "org.example.App" + std::to_string(i);
        const std::string path = data + "/applications/" + id + ".desktop";
        std::ofstream(path) << "[Desktop Entry]\nType=Application\nName=App " << i
                            << "\nExec=app\nIcon=application-x-executable\n";
        records.emplace_back(
            TWPlistDictionary{{TWExcludedNameField, "App " + std::to_string(i)},
                              {TWExcludedURLDataField, *TWBookmark::create(path, id)},
                              {TWExcludedBundleIDField, id}});
    }
    fixture.shared.setObject(TWPlistValue(records), TWExcludedAppsKey);
    double mainThread = 0;
    for (auto _ : state) {
        const double before = threadCPUMilliseconds();
        ExcludeController controller({&fixture.shared, &fixture.desktop.systemSound(), {data}});
        QEventLoop loop;
        QObject::connect(&controller, &ExcludeController::excludedItemsResolved, &loop,
                         &QEventLoop::quit);
        loop.exec();
        mainThread += threadCPUMilliseconds() - before;
        if (controller.rowCount() != 200)
            state.SkipWithError("rows missing");
    }
    state.counters["main_thread_ms"] =
        benchmark::Counter(mainThread, benchmark::Counter::kAvgIterations);
    std::filesystem::remove_all(data);
}
BENCHMARK(BM_ExclusionListRebuild200)->Unit(benchmark::kMillisecond)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
