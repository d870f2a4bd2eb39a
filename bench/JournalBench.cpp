// What the journal costs a run: the durable writes of a whole overwrite's record (each step
// written to a new file, synced, renamed over the old, the folder synced) and its removal at the
// end, on the disk the bench installs to. Compared with the time of an installation it says
// what the repair after a kill costs when nothing is killed.
#include <benchmark/benchmark.h>
#include <stdlib.h>

#include <filesystem>
#include <string>

#include "Const.h"
#include "UndoRecord.h"

namespace {

namespace fs = std::filesystem;
using namespace vela;

void BM_JournalOfAnOverwrite(benchmark::State& state) {
    std::string work = (fs::current_path() / "journal-bench-XXXXXX").string();
    if (::mkdtemp(work.data()) == nullptr) {
        state.SkipWithError("no work folder");
        return;
    }
    fs::create_directories(work + "/Library");
    Const::setTargetRoot(work);
    const std::string generation = "/Applications/Quillmark/VELA-Ver1.2.3/";
    const std::string help =
        "/Library/Application Support/Quillmark/VELA/VELA-device/VELA-for-Device-help.pdf";
    for (auto _ : state) {
        UndoRecord record;
        record.begin(true, "1.2.3");
        record.append(
            {StepId::MoveAside, generation, "/Applications/Quillmark/VELA-Ver1.2.3.old/"});
        record.append({StepId::HelpFile, help, help + ".old"});
        record.append({StepId::Generation, generation, {}});
        record.append({StepId::PointOfNoReturn, {}, {}});
        record.finish();
    }
    Const::setTargetRoot("/");
    fs::remove_all(work);
}
BENCHMARK(BM_JournalOfAnOverwrite)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
