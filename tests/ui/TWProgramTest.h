// SPDX-License-Identifier: MIT
// The tidewell program as the session starts it, on the simulated desktop with a runtime and a
// config directory of its own: what the tests that run the real program share.
#pragma once

#include "TWInstanceChannel.h"
#include "TWTestPaths.h"

#include <QElapsedTimer>
#include <QFile>
#include <QProcess>
#include <QTemporaryDir>
#include <QThread>

#include <gtest/gtest.h>

// The program with its test hooks; the shipped one has none.
inline const QString kTestingProgram =
    QString::fromStdString(TWTestProgramPath("tidewell-testing"));

class TWProgramTest : public ::testing::Test {
  protected:
    TWProgramTest() {
        QFile::setPermissions(runtime.path(), QFile::Permissions(0x7000)); // owner only
        environment.insert("XDG_RUNTIME_DIR", runtime.path());
        environment.insert("XDG_CONFIG_HOME", runtime.path() + "/config");
        environment.insert("QT_QPA_PLATFORM", "offscreen");
        environment.remove("DISPLAY");
    }
    ~TWProgramTest() override {
        instance.kill();
        instance.waitForFinished(5000);
    }

    void startInstance(const QString& path = kTestingProgram,
                       const QStringList& arguments = {"--desktop=sim"}) {
        instance.setProcessEnvironment(environment);
        instance.start(path, arguments);
        ASSERT_TRUE(instance.waitForStarted(5000));
        ASSERT_FALSE(statusUntil().isEmpty()) << instance.readAllStandardError().data();
    }
    // The instance's status once it holds `line` (any), asked every `tryMs` for at most `ms`.
    QStringList statusUntil(const QString& line = {}, int ms = 10000, int tryMs = 200) {
        QStringList seen;
        QElapsedTimer waited;
        waited.start();
        while (waited.elapsed() < ms &&
               (seen.isEmpty() || !(line.isEmpty() || seen.contains(line)))) {
            if (auto reply = TWInstanceChannel::sendMessage(channel(), "status", tryMs))
                seen = QString::fromUtf8(*reply).split('\n', Qt::SkipEmptyParts);
            QThread::msleep(20);
        }
        return seen;
    }
    QString channel() const { return runtime.path() + "/tidewell"; }
    // Runs tidewell (or `path`) with `arguments` to its end: the exit code and what it wrote.
    std::pair<int, QString> run(const QStringList& arguments, const QProcessEnvironment* env = {},
                                const QString& path = kTestingProgram) {
        QProcess p;
        p.setProcessChannelMode(QProcess::MergedChannels);
        p.setProcessEnvironment(env ? *env : environment);
        p.start(path, arguments);
        const bool ended = p.waitForFinished(10000) && p.exitStatus() == QProcess::NormalExit;
        return {ended ? p.exitCode() : -1, QString::fromUtf8(p.readAll())};
    }

    QTemporaryDir runtime;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    QProcess instance;
};
