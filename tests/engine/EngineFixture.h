#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <vector>

#include "Const.h"
#include "InstallationView.h"
#include "Log.h"
#include "LogReader.h"
#include "TempInstallRoot.h"

namespace vela::test {

/// A view that records what the run shows and lets a test press Cancel.
class RecordingView : public InstallationView {
public:
    bool isCancelRequested() const override { return cancel; }
    void setCancelEnabled(bool enabled) override { cancelEnabled.push_back(enabled); }
    void showProgress(float percent) override { progress.push_back(percent); }
    void performSegue(const Transition& transition) override { transitions.push_back(transition); }
    void terminate() override { terminated = true; }

    std::atomic<bool> cancel{false};
    std::vector<bool> cancelEnabled;
    std::vector<float> progress;
    std::vector<Transition> transitions;
    bool terminated = false;
};

/// The engine in this process, installing the built bundle into a fresh target root, with the
/// log in DEBUG mode so that traces can be asserted.
class EngineFixture : public testing::Test {
protected:
    EngineFixture() {
        Const::setTargetRoot(root.root());
        applyLogMode("DEBUG");
    }
    ~EngineFixture() override {
        applyLogMode("NORMAL");
        Const::setTargetRoot("/");
    }

    TempInstallRoot root;
    RecordingView view;
    LogReader log;
};

}  // namespace vela::test
