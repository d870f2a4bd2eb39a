#pragma once

#include <optional>
#include <string>
#include <vector>

#include "StepId.h"

namespace vela {

/// One recorded step, written before the step changes anything: the row that recorded it, what
/// it changes and where it kept what was there. Paths are as the installed system sees them
/// (without the target root).
struct UndoEntry {
    StepId step;
    std::string path;
    std::string backup;
};

/// What one run changed on the target, in order, with what it needs to be undone: Cancel and a
/// failure walk it backwards in memory; kept durably on the target volume as the journal, it
/// lets the next run repair a run that was killed. Main thread only.
class UndoRecord {
public:
    /// The journal of the current target root.
    static std::string journalPath();
    static std::string journalDirectory();

    /// Starts a journal for a run (overwrite or new installation) of `version`. Without a
    /// journal the record is kept in memory only.
    void begin(bool isOverwrite, const std::string& version, bool durable = true);
    /// Records `entry` before its step is taken; with a journal it is on disk when this
    /// returns. False (with `error` set to the reason) when the journal could not be written: the
    /// step must then not be taken.
    bool append(UndoEntry entry, std::string* error = nullptr);
    /// The last step has been undone: it goes from the record (and the journal), so that an undo
    /// killed half-way is taken up where it stopped, never repeated over what it restored.
    /// False (with `error` set, the record unchanged) when the journal could not be rewritten:
    /// the undo must stop there, or a repair would replay the step over what came back.
    bool dropLast(std::string* error = nullptr);
    /// The run has ended in a way a process can observe: the journal goes.
    void finish();

    const std::vector<UndoEntry>& entries() const { return entries_; }
    /// Whether this run recorded any step since begin(), undone or not (so it touched the target).
    bool hasRecorded() const { return recorded_; }
    const UndoEntry* find(StepId step) const;
    bool isPastPointOfNoReturn() const { return find(StepId::PointOfNoReturn) != nullptr; }
    bool isOverwrite() const { return isOverwrite_; }
    const std::string& version() const { return version_; }

    /// Reads the journal of the current target root. Nothing there: none and `problem` empty.
    /// A journal that cannot be read, or that names anything but the installer's own paths, is
    /// never acted on: none, with `problem` saying why.
    /// `tidy` false (a dry run): temporaries a killed writer left are left too.
    static std::optional<UndoRecord> load(std::string& problem, bool tidy = true);

    /// Text of the journal (for its file) and back.
    std::string serialise() const;
    static std::optional<UndoRecord> parse(const std::string& text, std::string& problem);

private:
    bool write(std::string* error) const;

    std::vector<UndoEntry> entries_;
    bool isOverwrite_ = false;
    std::string version_;
    bool durable_ = false;
    bool recorded_ = false;
};

/// Whether `path` is one that a journal may name: a generation below the base directory (or its
/// moved-aside ".old" form), the device directory, the help file and its backup.
bool isJournalPath(const std::string& path);

}  // namespace vela
