#pragma once

#include <QElapsedTimer>

#include <cstdio>
#include <string>

#include "Failure.h"
#include "InstallRecord.h"

namespace vela {

/// The record of one run of the front end and where it goes: with --json one line of JSON on
/// standard output at the end, whatever happened; human-readable lines then go to standard error
/// so that standard output carries nothing else.
class Outcome {
public:
    /// Starts the clock; the record knows the bundle's version and build from the start.
    explicit Outcome(bool json);

    bool json() const { return json_; }
    InstallRecord& record() { return record_; }
    /// Where lines for a person go: standard output, or standard error with --json.
    std::FILE* humanOutput() const { return json_ ? stderr : stdout; }

    /// Records an error (FailureCode::kInstallation, "usage", ...) with its text.
    void setError(const std::string& code, const std::string& message);
    /// Records a failure of the run: its code, its text, and where and why when it says so.
    void setFailure(const Failure& failure);
    /// Says on standard error that `user` is not an administrator and records
    /// FailureCode::kNotAdministrator.
    void refuseNonAdministrator(const std::string& user);
    /// Fills the paths this bundle installs under the target root (generation, link).
    void describeTarget();
    /// Completes the record with `status`, `exit` and the elapsed time; returns `exit`.
    int complete(const std::string& status, int exit);
    /// complete(), then prints the record with --json; returns `exit`. Called once per run.
    int finish(const std::string& status, int exit);

private:
    bool json_;
    QElapsedTimer clock_;
    InstallRecord record_;
};

}  // namespace vela
