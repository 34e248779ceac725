// What a pid_regulator keeps in its parameter file over the end of a run.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <tuple>
#include <utility>

#include "runtime/instruments/application_state.h"
#include "runtime/platform/disk.h"
#include "runtime/platform/files.h"
#include "tests/support.h"

namespace {

namespace fs = std::filesystem;
using tests::CFolder;
using tests::CRun;
using tests::OneRegulator;
using tests::ParameterFile;
using tests::ReadFile;
using tests::TLearnt;

constexpr TLearnt kFreshRun = {0.1, 0.1, 0.1, 0.2, 0.2, 0.5, 1.0};
constexpr TLearnt kOther = {-0.3, 1.25, 0.0625, -0.40625, 3e-5, 0.75, 2.5};

std::string Adaptive(const std::string& entries, const std::string& law = "takahashi") {
  return OneRegulator("pid_regulator",
                      "parameters adaptive = true; regulator_type = " + law + "; " + entries + " end_parameters;");
}

const std::string kNamed = Adaptive("file_name = \"reg.par\";");

void Keep(const CRun& run, std::uint32_t first = 0x4000, std::uint32_t second = 1) {
  vcore::TEvent event = {{first, second, 0, 0}};
  run.Object("reg").ReceiveEvent(&event);
}

void ExpectModel(const CRun& run, const TLearnt& learnt) {
  EXPECT_EQ(run.Call("reg", "Debug__RRRR", {0, 0, 0, 0}),
            (std::vector<double>{learnt[1], learnt[2], learnt[3], learnt[4]}));
  EXPECT_EQ(run.Call("reg", "GetForgetCoefficient__R", {0})[0], learnt[5]);
}

TEST(ParameterFile, HoldsSixtyBytes) {
  const CFolder folder;
  CRun run(folder, "test.lbx", kNamed);
  run->End();
  std::string expected("\x02\0\0\0", 4);
  for (int i = 0; i < 3; ++i) expected += "\x9A\x99\x99\x99\x99\x99\xB9\x3F";
  for (int i = 0; i < 2; ++i) expected += "\x9A\x99\x99\x99\x99\x99\xC9\x3F";
  expected += std::string("\0\0\0\0\0\0\xE0\x3F", 8) + std::string("\0\0\0\0\0\0\xF0\x3F", 8);
  EXPECT_EQ(ReadFile(folder.Path("reg.par")), expected);
  EXPECT_EQ(ParameterFile(2, kFreshRun), expected);
}

// One that isn't to keep what it learnt leaves that to the others.
TEST(ParameterFile, IsKeptByThoseThatKeep) {
  const CFolder folder;
  const std::string regulator = "instrument pid_regulator ";
  CRun run(folder, "test.lbx",
           Adaptive("file_name = \"reg.par\";") + "\n" + regulator +
               "other expression = x; wish_value = wish; keep = false; parameters adaptive = true; file_name = "
               "\"other.par\"; end_parameters; end_instrument;\n" +
               regulator +
               "last expression = x; wish_value = wish; parameters adaptive = true; file_name = \"last.par\"; "
               "end_parameters; end_instrument;");
  run->End();
  EXPECT_TRUE(fs::exists(folder.Path("reg.par")));
  EXPECT_FALSE(fs::exists(folder.Path("other.par")));
  EXPECT_TRUE(fs::exists(folder.Path("last.par")));
}

TEST(ParameterFile, IsWrittenByTheTwoEventsAlone) {
  const std::uint32_t events[][3] = {{0x4000, 1, 1}, {0x4000, 800, 1}, {0x4000, 0, 0},
                                     {0x4000, 2, 0}, {0x4001, 1, 0},   {1, 0x4000, 0}};
  for (const auto& [first, second, saves] : events) {
    const CFolder folder;
    CRun run(folder, "test.lbx", kNamed);
    Keep(run, first, second);
    EXPECT_EQ(fs::exists(folder.Path("reg.par")), saves != 0) << first << " " << second;
  }
}

// A synthesis takes back a b2 that it can't use: what is kept is the model, not what was
// identified. The plant answers the wrong way.
TEST(ParameterFile, HoldsTheModelThatTheLawWasMadeFor) {
  const CFolder folder;
  CRun run(
      folder, "test.lbx",
      OneRegulator("pid_regulator",
                   "parameters adaptive = true; regulator_type = takahashi; file_name = \"reg.par\"; end_parameters;"));
  bool tookBack = false;
  double before = 0.0;
  for (int i = 0; i < 60; ++i) {
    run.SetValue("wish", i % 20 < 10 ? 60.0 : 40.0);
    run.SetValue("x", 50.0 - 0.3 * run.Value("u") + (i % 3));
    run.Steps(1);
    Keep(run);
    const std::vector<double> model = run.Call("reg", "Debug__RRRR", {0, 0, 0, 0});
    double kept[4] = {};
    const std::string bytes = ReadFile(folder.Path("reg.par"));
    ASSERT_EQ(bytes.size(), 60u);
    std::memcpy(kept, bytes.data() + 12, sizeof kept);
    for (int k = 0; k < 4; ++k) EXPECT_EQ(kept[k], model[k]) << i << " " << k;
    tookBack = tookBack || (i > 20 && model[3] == before);
    before = model[3];
  }
  EXPECT_TRUE(tookBack);
}

// Without the application there are no files.
TEST(ParameterFile, NeedsAnApplication) {
  const CFolder folder;
  CRun run(folder, "test.lbx", kNamed);
  folder.Write("reg.par", ParameterFile(2, kOther));
  hx_vinst::CInstrument& object = run.Object("reg");
  hx_main::TContext* const application = std::exchange(object.ctx, nullptr);
  object.FinishRead(object.rect);
  ExpectModel(run, kFreshRun);
  Keep(run);
  EXPECT_EQ(ReadFile(folder.Path("reg.par")), ParameterFile(2, kOther));
  object.ctx = application;
  object.FinishRead(object.rect);
  ExpectModel(run, kOther);
}

TEST(ParameterFile, NeedsANameAndGetsItsFolder) {
  const CFolder folder;
  CRun unnamed(folder, "unnamed.lbx", Adaptive(""));
  unnamed->End();
  CRun named(folder, "named.lbx", Adaptive("file_name = \"kept/deep/reg.par\";"));
  EXPECT_FALSE(fs::exists(folder.Path("kept")));
  named->End();
  EXPECT_EQ(ReadFile(folder.Path("kept/deep/reg.par")), ParameterFile(2, kFreshRun));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("kept/deep")), fs::directory_iterator()), 1);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path(".")), fs::directory_iterator()), 3);
  CRun shortest(folder, "shortest.lbx", Adaptive("file_name = \"p\";"));
  shortest->End();
  EXPECT_EQ(ReadFile(folder.Path("p")), ParameterFile(2, kFreshRun));
}

// All the bits that are read are written again.
TEST(ParameterFile, IsReadWhenTheDefinitionHasBeenRead) {
  const char* laws[] = {"classical", "takahashi", "classicalDelay", "takahashiDelay", "variable"};
  const std::uint32_t codes[] = {1, 2, 3, 4, 5};
  for (int law = 0; law < 5; ++law) {
    for (const bool nameFirst : {true, false}) {
      const CFolder folder;
      const std::string bytes = ParameterFile(codes[law], kOther);
      folder.Write("reg.par", bytes);
      const std::string name = "parameters file_name = \"reg.par\"; end_parameters;";
      // Whether it is adaptive makes no difference.
      const std::string rest = std::string("parameters adaptive = ") + (nameFirst || law == 4 ? "true" : "false") +
                               "; regulator_type = " + laws[law] + "; end_parameters;";
      CRun run(folder, "test.lbx", OneRegulator("pid_regulator", nameFirst ? name + rest : rest + name));
      EXPECT_EQ(run.Call("reg", "Debug__RRRR", {0, 0, 0, 0})[3], kOther[4]);
      if (law != 4) ExpectModel(run, kOther);
      fs::remove(folder.Path("reg.par"));
      Keep(run);
      EXPECT_EQ(ReadFile(folder.Path("reg.par")), bytes);
      EXPECT_TRUE(run.messages.empty());
      // The law is the one that is chosen when the file is written.
      run.Call("reg", "SetRegulatorType__n", {4.0});
      Keep(run);
      EXPECT_EQ(ReadFile(folder.Path("reg.par")), ParameterFile(4, kOther));
    }
  }
}

TEST(ParameterFile, OfAnotherLawOrNoneIsPassedOverInSilence) {
  for (const std::uint32_t law : {0u, 1u, 3u, 5u, 0x02000000u}) {
    const CFolder folder;
    if (law != 0) folder.Write("reg.par", ParameterFile(law, kOther));
    CRun run(folder, "test.lbx", kNamed);
    ExpectModel(run, kFreshRun);
    EXPECT_TRUE(run.messages.empty());
  }
}

TEST(ParameterFile, ThatIsNotWholeAndFiniteIsRefused) {
  std::vector<std::string> files;
  const std::string whole = ParameterFile(2, kOther);
  for (const std::size_t length : {0u, 1u, 3u, 4u, 12u, 59u}) files.push_back(whole.substr(0, length));
  files.push_back(whole + '\0');
  files.push_back(whole + whole);
  for (std::size_t i = 0; i < kOther.size(); ++i) {
    for (const double bad : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
      TLearnt learnt = kOther;
      learnt[i] = bad;
      files.push_back(ParameterFile(2, learnt));
    }
  }
  for (const double rho : {0.0, -1.0}) {
    TLearnt learnt = kOther;
    learnt.back() = rho;
    files.push_back(ParameterFile(2, learnt));
  }
  for (std::size_t i = 0; i < files.size(); ++i) {
    SCOPED_TRACE(i);
    const CFolder folder;
    folder.Write("reg.par", files[i]);
    CRun run(folder, "test.lbx", kNamed);
    ASSERT_EQ(run.messages.size(), 1u);
    EXPECT_EQ(run.messages[0].instrument, "reg");
    EXPECT_EQ(run.messages[0].text, "Soubor parametrů odmítnut");
    ExpectModel(run, kFreshRun);
    EXPECT_EQ(ReadFile(folder.Path("reg.par")), files[i]);
    Keep(run);
    EXPECT_EQ(ReadFile(folder.Path("reg.par")), ParameterFile(2, kFreshRun));
  }
}

// --- Faults of the disk -------------------------------------------------------------

enum ECall { kAnyCall, kOpen, kBeneath, kRead, kWrite, kOwner, kMode, kFlush, kClose, kRename, kRemove };
constexpr int kAll = 1'000'000;

struct TFault {
  ECall call;
  int first;  // of the calls that fail, from 0
  int count;
  int error;
  std::size_t most = 100;  // bytes that one call moves
};

class CFaultyDisk : public runtime::CDisk {
 public:
  explicit CFaultyDisk(const TFault& theFault) : fault(theFault) {}

  int Open(int folder, const std::string& name, int flags, mode_t mode) override {
    return Fails(kOpen) ? -1 : CDisk::Open(folder, name, flags, mode);
  }
  int OpenBeneath(int folder, const std::string& path) override {
    return Fails(kBeneath) ? -1 : CDisk::OpenBeneath(folder, path);
  }
  ssize_t Read(int descriptor, void* bytes, std::size_t count) override {
    return Fails(kRead) ? -1 : CDisk::Read(descriptor, bytes, std::min(count, fault.most));
  }
  ssize_t Write(int descriptor, const void* bytes, std::size_t count) override {
    return Fails(kWrite) ? -1 : CDisk::Write(descriptor, bytes, std::min(count, fault.most));
  }
  int SetOwner(int descriptor, uid_t user, gid_t group) override {
    return Fails(kOwner) ? -1 : CDisk::SetOwner(descriptor, user, group);
  }
  int SetMode(int descriptor, mode_t mode) override { return Fails(kMode) ? -1 : CDisk::SetMode(descriptor, mode); }
  int Flush(int descriptor) override { return Fails(kFlush) ? -1 : CDisk::Flush(descriptor); }
  int Close(int descriptor) override { return CDisk::Close(descriptor), Fails(kClose) ? -1 : 0; }
  int Rename(int folder, const std::string& from, const std::string& to) override {
    return Fails(kRename) ? -1 : CDisk::Rename(folder, from, to);
  }
  int Remove(int folder, const std::string& name) override { return Fails(kRemove) ? -1 : CDisk::Remove(folder, name); }

 private:
  bool Fails(ECall call) {
    if (fault.call != kAnyCall && fault.call != call) return false;
    const int number = calls++;
    if (number < fault.first || number - fault.first >= fault.count) return false;
    errno = fault.error;
    return true;
  }

  TFault fault;
  int calls = 0;
};

std::ptrdiff_t FilesIn(const CFolder& folder) {
  return std::distance(fs::directory_iterator(folder.Path(".")), fs::directory_iterator());
}

TEST(ParameterFile, AreWholeAndTheFaultIsTold) {
  enum EAct { kReading, kSaving };
  const struct {
    EAct act;
    TFault fault;
    bool succeeds;
    const char* said;
  } rows[] = {
      {kReading, {kOpen, 0, kAll, EACCES}, false, "'reg.par' can't be read: Permission denied"},
      {kReading, {kBeneath, 0, kAll, EIO}, false, "'reg.par' can't be read: Input/output error"},
      {kReading, {kBeneath, 0, kAll, ENOSYS}, true, ""},
      {kReading, {kRead, 1, kAll, EIO, 59}, false, "Soubor parametrů odmítnut"},
      {kReading, {kRead, 0, 2, EINTR}, true, ""},
      {kReading, {kRead, 0, 0, 0, 7}, true, ""},
      {kSaving, {kOpen, 0, kAll, EACCES}, false, "Permission denied"},
      {kSaving, {kOpen, 2, 1, EACCES}, false, "Permission denied"},  // the old file, to write it
      {kSaving, {kOpen, 3, 99, EEXIST}, true, ""},
      {kSaving, {kOpen, 4, 1, EACCES}, true, ""},  // the folder, to flush it
      {kSaving, {kBeneath, 0, kAll, ENOSYS}, true, ""},
      {kSaving, {kMode, 0, 1, EPERM}, true, ""},  // a file system without the sticky bit
      {kSaving, {kMode, 0, 2, EPERM}, false, "its mode can't be kept: Operation not permitted"},
      {kSaving, {kWrite, 1, kAll, ENOSPC, 59}, false, "No space left on device"},
      {kSaving, {kWrite, 0, 0, 0, 0}, false, "a write fell short"},
      {kSaving, {kWrite, 0, 2, EINTR}, true, ""},
      {kSaving, {kWrite, 0, 0, 0, 7}, true, ""},
      {kSaving, {kFlush, 0, 1, EIO}, false, "Input/output error"},
      {kSaving, {kFlush, 1, 1, EIO}, true, ""},  // of the folder
      {kSaving, {kRename, 0, 1, EACCES}, false, "Permission denied"},
      {kSaving, {kClose, 0, 1, EIO}, true, ""},
  };
  for (const auto& [act, fault, succeeds, said] : rows) {
    SCOPED_TRACE(testing::Message() << "act " << act << ", call " << fault.call << ", error " << fault.error);
    const CFolder folder;
    CRun run(folder, "test.lbx", kNamed);
    folder.Write("reg.par", ParameterFile(2, kOther));
    CFaultyDisk disk(fault);
    run.State().files.disk = &disk;
    std::string expected = said;
    if (act == kReading) {
      EXPECT_TRUE(run.ReadAgain(0, run.State().instruments[0].end));
      ExpectModel(run, succeeds ? kOther : kFreshRun);
    } else {
      runtime::KeepLearnt(run.State(), vcore::kKeepOnRequest);
      if (!expected.empty()) expected = "'reg.par' can't be written: " + expected;
    }
    EXPECT_EQ(run.messages.empty() ? "" : run.messages[0].text, expected);
    if (act == kReading) {  // what could not be read isn't replaced
      run.State().files.disk = &runtime::SystemDisk();
      Keep(run);
    }
    EXPECT_EQ(ReadFile(folder.Path("reg.par")), ParameterFile(2, act == kSaving && succeeds ? kFreshRun : kOther));
    EXPECT_EQ(FilesIn(folder), 2);
  }
}

// As when the process is killed: nothing is done from one call on. The first
// ten look for the file, open, write, flush and rename; the last four take the mark
// away, close it and flush the folder.
TEST(ParameterFile, AreWholeWhereverTheirWritingEnds) {
  for (int calls = 0; calls <= 14; ++calls) {
    SCOPED_TRACE(calls);
    const CFolder folder;
    CRun run(folder, "test.lbx", kNamed);
    folder.Write("reg.par", ParameterFile(2, kOther));
    CFaultyDisk disk({kAnyCall, calls, kAll, EIO});
    run.State().files.disk = &disk;
    Keep(run);
    EXPECT_EQ(ReadFile(folder.Path("reg.par")), ParameterFile(2, calls < 10 ? kOther : kFreshRun));
    // What was left beside the file goes with the next save.
    run.State().files.disk = &runtime::SystemDisk();
    Keep(run);
    EXPECT_EQ(ReadFile(folder.Path("reg.par")), ParameterFile(2, kFreshRun));
    EXPECT_EQ(FilesIn(folder), 2);
  }
}

struct stat StatusOf(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status;
}

TEST(ParameterFile, KeepTheRightsOfTheirFileAndWhatIsAnothers) {
  const CFolder folder;
  const std::string file = folder.Write("reg.par", ParameterFile(2, kOther));
  const bool superuser = geteuid() == 0;
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  if (superuser) {
    ASSERT_EQ(chown(file.c_str(), 1, 2), 0);
  }
  folder.Write(".reg.par.tmp-1-1", "another's");
  fs::create_directory(folder.Path(".reg.par.tmp-1-2"));
  fs::create_symlink("test.lbx", folder.Path(".reg.par.tmp-1-3"));
  for (const char* name : {".reg.par.tmp-1-x", ".reg.par.tmp-1-4"}) {  // of these, the last is one of ours
    ASSERT_EQ(chmod(folder.Write(name, "").c_str(), 01640), 0);
  }
  CRun run(folder, "test.lbx", kNamed);
  const struct stat before = StatusOf(file);
  Keep(run);
  const struct stat after = StatusOf(file);
  EXPECT_NE(after.st_ino, before.st_ino);
  EXPECT_EQ(std::tie(after.st_mode, after.st_uid, after.st_gid),
            std::tie(before.st_mode, before.st_uid, before.st_gid));
  EXPECT_EQ(FilesIn(folder), 6);
  EXPECT_FALSE(fs::exists(folder.Path(".reg.par.tmp-1-4")));

  ASSERT_EQ(chmod(file.c_str(), 0440), 0);
  runtime::KeepLearnt(run.State(), vcore::kKeepOnRequest);
  ASSERT_EQ(run.messages.size(), 1u);
  EXPECT_EQ(run.messages[0].text, "'reg.par' can't be written: it is read-only");
  ASSERT_EQ(chmod(file.c_str(), 0640), 0);
  if (!superuser) return;
  CFaultyDisk disk({kOwner, 0, 1, EPERM});
  run.State().files.disk = &disk;
  runtime::KeepLearnt(run.State(), vcore::kKeepOnRequest);
  EXPECT_EQ(run.messages.back().text, "'reg.par' can't be written: its owner can't be kept: Operation not permitted");
  EXPECT_EQ(StatusOf(file).st_ino, after.st_ino);
}

// By the system's own call, and by a walk.
TEST(ParameterFile, StayBelowTheFolder) {
  for (const bool walked : {false, true}) {
    const CFolder folder, other;
    CFaultyDisk disk({walked ? kBeneath : kClose, 0, kAll, ENOSYS});
    CRun run(folder, "test.lbx", Adaptive("file_name = \"kept/deep/reg.par\";"));
    run.State().files.disk = &disk;
    fs::create_directory_symlink(other.Path("."), folder.Path("kept"));
    runtime::KeepLearnt(run.State(), vcore::kKeepOnRequest);
    ASSERT_EQ(run.messages.size(), 1u);
    EXPECT_EQ(run.messages[0].text,
              "'kept/deep/reg.par' can't be written: its name leads out of the application's folder");
    EXPECT_EQ(FilesIn(other), 0);
    // A link that stays below is followed.
    fs::remove(folder.Path("kept"));
    fs::create_directory(folder.Path("real"));
    fs::create_directory_symlink("./real/../real", folder.Path("kept"));
    Keep(run);
    EXPECT_EQ(ReadFile(folder.Path("real/deep/reg.par")), ParameterFile(2, kFreshRun));
  }
  for (const std::string& name :
       {std::string(256, 'x'), std::string(120, 'x') + "/" + std::string(120, 'y') + "/zzzz"}) {
    EXPECT_NE(CRun(Adaptive("file_name = \"" + name + "\";")).Diagnostics().find("the file name is too long"),
              std::string::npos);
  }
}

TEST(ParameterFile, HasAPathOfAtMost255Characters) {
  const CFolder folder;
  const std::size_t most = 255 - folder.Path("x").size() + 1;
  for (const std::size_t length : {most, most + 1}) {
    const CRun run(folder, "test.lbx", Adaptive("file_name = \"" + std::string(length, 'x') + "\";"));
    EXPECT_EQ(run.Diagnostics().find("the file name is too long") != std::string::npos, length > most);
  }
}

TEST(ParameterFile, LeaveAloneWhatIsBeingWritten) {
  const CFolder folder;
  CRun run(folder, "test.lbx", kNamed);
  runlib::TFileContext context = runtime::MakeFileContext(folder.Path("."));
  const std::uint32_t handle = runlib::FileCreate(&context, 7, u"reg.par", 0);
  ASSERT_NE(handle, runlib::kNoHandle);
  Keep(run);
  EXPECT_EQ(FilesIn(folder), 3);
  EXPECT_EQ(runlib::FileWrite(handle, 3, "new", 3), 3u);
  runlib::FileClose(handle);
  EXPECT_EQ(ReadFile(folder.Path("reg.par")), "new");
  EXPECT_EQ(FilesIn(folder), 2);
}

}  // namespace
