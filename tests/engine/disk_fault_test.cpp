// What a run leaves when the disk fails under its log and its rejected records: the target tells
// the truth, nothing that stood there before is gone, and nothing is missing unsaid.

#include <doctest/doctest.h>

#include "base/M_FILE.h"
#include "tests/engine/run_rig.h"
#include "tests/storage/support/fault_files.h"

namespace kelvorin::tests {
namespace {

/// More rejected records than the file's buffer takes, so that some are written on the way.
std::string ManyRecords() {
  std::string text;
  for (int i = 0; i < 1500; ++i) {
    const std::string number = std::to_string(i);
    text += "name " + number + (i % 2 == 0 ? ",1" : ",no number at all " + number) + "\r\n";
  }
  return text;
}

std::string Read(const std::string& path) {
  return base::FileExists(path) ? ReadWhole(path) : std::string();
}

bool Told(const engine::RunResult& result) {
  return result.fatal.has_value() || !result.notices.empty();
}

}  // namespace

TEST_CASE("A disk that fails under log and reject file is told of") {
  const std::string records = ManyRecords();
  std::string log, rejected, reasons;
  for (const bool lasting : {false, true}) {
    bool happened = true;
    for (int at = 100000; happened; at = at == 100000 ? 1 : at + 1) {
      CAPTURE(at);
      CAPTURE(lasting);
      RunRig rig;
      rig.FromText(records);
      rig.Map({0, 1});
      rig.setting.Trace = true;
      rig.setting.LogFileName = "/m/import.log";  // nowhere but on the disk in memory
      rig.setting.RejectFile = "/m/rejected";
      MemoryFileSystem disk;
      FaultFileSystem faults(disk, lasting ? Fault::kDie : Fault::kNoSpace, at);
      rig.options.files = &faults;
      const engine::RunResult result = rig.Run();
      happened = faults.fired();
      const auto read = [&](const std::string& path) {
        return disk.Has(path) ? disk.Contents(path) : std::string();
      };
      CHECK(rig.memory.Rows("shop", "Goods").size() == static_cast<std::size_t>(result.imported));
      const std::string now_rejected = read(rig.setting.RejectFile);
      const std::string now_reasons = read(rig.setting.RejectFile + ".reasons");
      if (at == 100000) {
        REQUIRE_FALSE(happened);
        CHECK(RunRig::Show(result) == "1500 750 750 0");
        CHECK(read(rig.setting.LogFileName).find("750") != std::string::npos);
        rejected = now_rejected;
        reasons = now_reasons;
        happened = true;
      } else if (!Told(result)) {
        CHECK_FALSE(happened);
        CHECK(now_rejected == rejected);
        CHECK(now_reasons == reasons);
      } else {
        CHECK(rejected.starts_with(now_rejected));
      }
    }
  }
}

TEST_CASE("A disk that fails while a job reads its own rejects loses none of them") {
  bool happened = true;
  bool renamed = false;  // the walk came to it
  for (int at = 1; happened; ++at) {
    CAPTURE(at);
    RunRig rig;
    const std::string own = rig.folder.File("rejected");
    const std::string before = "a,1\r\nb,x\r\nc,y\r\nd,4\r\n";
    WriteWhole(own, before);
    WriteWhole(own + ".reasons", "Line,Field,Value,Reason\r\n");
    rig.source.file_name = own;
    rig.Map({0, 1});
    rig.setting.RejectFile = own;
    rig.setting.DeleteImportFile = true;
    FaultFileSystem disk(base::RealFileSystem(), Fault::kIoError, at);
    rig.options.files = &disk;
    const engine::RunResult result = rig.Run();
    happened = disk.fired();
    renamed |= result.fatal.value_or("").find("renaming: fault") != std::string::npos;
    const std::string after = Read(own);
    CAPTURE(result.fatal.value_or(RunRig::Show(result)));
    // All that was there, or what the target did not take.
    CHECK((after == before || after == "b,x\r\nc,y\r\n"));
    if (after == before && result.imported > 0) CHECK(Told(result));
    if (!happened) CHECK(after == "b,x\r\nc,y\r\n");
  }
  CHECK(renamed);
}

}  // namespace kelvorin::tests
