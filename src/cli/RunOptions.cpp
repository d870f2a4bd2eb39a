#include "RunOptions.h"

namespace vela {

RunOptions::RunOptions()
    : json_(QStringLiteral("json"),
            QStringLiteral("Write exactly one JSON object on standard output, whatever the "
                           "outcome; progress and messages stay on standard error.")),
      dryRun_(QStringLiteral("dry-run"),
              QStringLiteral("Check everything an installation checks and print the changes it "
                             "would make, in order; change nothing. Exit 0 it would go ahead, 1 "
                             "it would fail, 3 not an administrator, 6 busy.")),
      verify_(QStringLiteral("verify"),
              QStringLiteral("Compare what this bundle installs with the target and print each "
                             "difference; change nothing, take no lock. Exit 0 intact, 1 "
                             "damaged, 7 not installed.")),
      recover_(QStringLiteral("recover"),
               QStringLiteral("Only repair an installation that was killed (undo it, or complete "
                              "it when it had passed its point of no return); install nothing. "
                              "Exit 0 nothing to repair or repaired, 1 the repair failed, 6 "
                              "busy.")) {}

void RunOptions::addTo(QCommandLineParser& parser) const {
    parser.addOption(json_);
    parser.addOption(dryRun_);
    parser.addOption(verify_);
    parser.addOption(recover_);
}

QString RunOptions::read(const QCommandLineParser& parser) {
    json = parser.isSet(json_);
    dryRun = parser.isSet(dryRun_);
    verify = parser.isSet(verify_);
    recover = parser.isSet(recover_);
    if (int(dryRun) + int(verify) + int(recover) > 1) {
        return QStringLiteral("--dry-run, --verify and --recover exclude each other");
    }
    return {};
}

bool RunOptions::jsonAmong(const QStringList& arguments) {
    return arguments.mid(1).contains(QStringLiteral("--json"));
}

}  // namespace vela
