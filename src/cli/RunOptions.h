#pragma once

#include <QCommandLineOption>
#include <QCommandLineParser>
#include <QStringList>

namespace vela {

/// The options a management tool uses besides --target: the JSON record, the dry run, the
/// verification and the repair alone. Kept apart from the target's parsing so that each can change
/// on its own.
class RunOptions {
public:
    RunOptions();

    /// Adds the options to `parser` (before it parses).
    void addTo(QCommandLineParser& parser) const;
    /// Reads them after a successful parse; an error text when they do not combine, else empty.
    QString read(const QCommandLineParser& parser);

    /// Whether --json is among `arguments`, for the errors found before or during parsing.
    static bool jsonAmong(const QStringList& arguments);

    bool json = false;
    bool dryRun = false;
    bool verify = false;
    bool recover = false;

private:
    QCommandLineOption json_;
    QCommandLineOption dryRun_;
    QCommandLineOption verify_;
    QCommandLineOption recover_;
};

}  // namespace vela
