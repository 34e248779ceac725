// What a pid_regulator keeps in its parameter file over the end of a run.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <filesystem>
#include <random>

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

constexpr TLearnt kFresh = {0.1, 0.1, 0.1, 0.2, 0.2, 0.5, 1.0};
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

TEST(KeptParameters, HoldsSixtyBytes) {
  const CFolder folder;
  CRun run(folder, "test.lbx", kNamed);
  run->End();
  std::string expected("\x02\0\0\0", 4);
  for (int i = 0; i < 3; ++i) expected += "\x9A\x99\x99\x99\x99\x99\xB9\x3F";
  for (int i = 0; i < 2; ++i) expected += "\x9A\x99\x99\x99\x99\x99\xC9\x3F";
  expected += std::string("\0\0\0\0\0\0\xE0\x3F", 8) + std::string("\0\0\0\0\0\0\xF0\x3F", 8);
  EXPECT_EQ(ReadFile(folder.Path("reg.par")), expected);
  EXPECT_EQ(ParameterFile(2, kFresh), expected);
}

TEST(KeptParameters, IsWrittenByTheTwoEventsAlone) {
  const std::uint32_t events[][3] = {{0x4000, 1, 1}, {0x4000, 800, 1}, {0x4000, 0, 0},
                                     {0x4000, 2, 0}, {0x4001, 1, 0},   {1, 0x4000, 0}};
  for (const auto& [first, second, saves] : events) {
    const CFolder folder;
    CRun run(folder, "test.lbx", kNamed);
    Keep(run, first, second);
    EXPECT_EQ(fs::exists(folder.Path("reg.par")), saves != 0) << first << " " << second;
  }
}

TEST(KeptParameters, NeedsANameAndGetsItsFolder) {
  const CFolder folder;
  CRun unnamed(folder, "unnamed.lbx", Adaptive(""));
  unnamed->End();
  CRun named(folder, "named.lbx", Adaptive("file_name = \"kept/deep/reg.par\";"));
  EXPECT_FALSE(fs::exists(folder.Path("kept")));
  named->End();
  EXPECT_EQ(ReadFile(folder.Path("kept/deep/reg.par")), ParameterFile(2, kFresh));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path("kept/deep")), fs::directory_iterator()), 1);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path(".")), fs::directory_iterator()), 3);
}

// All the bits that are read are written again.
TEST(KeptParameters, IsReadWhenTheDefinitionHasBeenRead) {
  const char* laws[] = {"classical", "takahashi", "classicalDelay", "takahashiDelay", "variable"};
  const std::uint32_t codes[] = {1, 2, 3, 4, 5};
  for (int law = 0; law < 5; ++law) {
    for (const bool nameFirst : {true, false}) {
      const CFolder folder;
      const std::string bytes = ParameterFile(codes[law], kOther);
      folder.Write("reg.par", bytes);
      const std::string name = "parameters file_name = \"reg.par\"; end_parameters;";
      const std::string rest =
          std::string("parameters adaptive = true; regulator_type = ") + laws[law] + "; end_parameters;";
      CRun run(folder, "test.lbx", OneRegulator("pid_regulator", nameFirst ? name + rest : rest + name));
      ASSERT_TRUE(run.IsRead()) << run.Diagnostics();
      EXPECT_EQ(run.Call("reg", "Debug__RRRR", {0, 0, 0, 0})[3], kOther[4]);
      if (law != 4) ExpectModel(run, kOther);
      fs::remove(folder.Path("reg.par"));
      Keep(run);
      EXPECT_EQ(ReadFile(folder.Path("reg.par")), bytes);
      EXPECT_TRUE(run.messages.empty());
    }
  }
}

TEST(KeptParameters, OfAnotherLawOrNoneIsPassedOverInSilence) {
  for (const std::uint32_t law : {0u, 1u, 3u, 5u, 0x02000000u}) {
    const CFolder folder;
    if (law != 0) folder.Write("reg.par", ParameterFile(law, kOther));
    CRun run(folder, "test.lbx", kNamed);
    ExpectModel(run, kFresh);
    EXPECT_TRUE(run.messages.empty());
  }
  const CFolder folder;
  fs::create_directory(folder.Path("reg.par"));
  CRun run(folder, "test.lbx", kNamed);
  ExpectModel(run, kFresh);
  run->End();
  EXPECT_TRUE(fs::is_directory(folder.Path("reg.par")));
}

TEST(KeptParameters, ThatIsNotWholeAndFiniteIsRefused) {
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
  for (std::size_t i = 0; i < files.size(); ++i) {
    SCOPED_TRACE(i);
    const CFolder folder;
    folder.Write("reg.par", files[i]);
    CRun run(folder, "test.lbx", kNamed);
    ASSERT_EQ(run.messages.size(), 1u);
    EXPECT_EQ(run.messages[0].instrument, "reg");
    EXPECT_EQ(run.messages[0].text, "Soubor parametrů odmítnut");
    ExpectModel(run, kFresh);
    EXPECT_EQ(ReadFile(folder.Path("reg.par")), files[i]);
    Keep(run);
    EXPECT_EQ(ReadFile(folder.Path("reg.par")), ParameterFile(2, kFresh));
  }
}

TEST(KeptParameters, LetsARegulatorGoOnWithWhatItLearnt) {
  for (const std::string refil : {"false", "true"}) {
    const CFolder folder;
    const std::string text = Adaptive("file_name = \"reg.par\"; refil = " + refil + ";") +
                             "data held : real; end_data;\nprocess x' = (u - x) / 9; end_process;\n";
    CRun first(folder, "test.lbx", text);
    ASSERT_TRUE(first.IsRead()) << first.Diagnostics();
    for (int k = 0; k < 200; ++k) {
      if (k % 40 == 0) first.SetValue("wish", k % 80 == 0 ? 30.0 : 60.0);
      first.Steps(1);
    }
    const auto model = first.Call("reg", "Debug__RRRR", {0, 0, 0, 0});
    const auto forget = first.Call("reg", "GetForgetCoefficient__R", {0});
    EXPECT_NE(model[0], 0.1);
    first->End();
    const std::string kept = ReadFile(folder.Path("reg.par"));
    CRun second(folder, "test.lbx", text);
    EXPECT_EQ(second.Call("reg", "Debug__RRRR", {0, 0, 0, 0}), model);
    EXPECT_EQ(second.Call("reg", "GetForgetCoefficient__R", {0}), forget);
    second->End();
    EXPECT_EQ(ReadFile(folder.Path("reg.par")), kept);
  }
}

// --- Crashes and full disks ---------------------------------------------------------

// Runs the body in a child process; yields its id.
template <typename TBody>
pid_t Fork(TBody body) {
  const pid_t child = fork();
  if (child != 0) return child;
  body();
  _exit(0);
}

void SetForgetting(const CRun& run, double forgetting) { run.Call("reg", "SetForgetCoefficient__R", {forgetting}); }

TEST(KeptParameters, IsWholeAfterAKillAtAnyMoment) {
  const CFolder folder;
  CRun run(folder, "test.lbx", kNamed);
  TLearnt states[2] = {kFresh, kFresh};
  states[1][5] = 0.25;
  const auto start = std::chrono::steady_clock::now();
  Keep(run);
  const std::chrono::duration<double, std::micro> onePass = std::chrono::steady_clock::now() - start;
  std::mt19937 random(7);
  std::uniform_real_distribution<double> delay(0.0, 4.0 * onePass.count());
  int seen[2] = {};
  int ready[2];
  ASSERT_EQ(pipe(ready), 0);
  for (int i = 0; i < 200; ++i) {
    const pid_t child = Fork([&] {
      for (int k = i;; ++k) {
        SetForgetting(run, states[k % 2][5]);
        if (write(ready[1], "", 1) != 1) _exit(1);
        Keep(run, 0x4000, 800);
      }
    });
    ASSERT_GT(child, 0);
    char byte;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    usleep(static_cast<useconds_t>(delay(random)));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    char rest[256];
    fcntl(ready[0], F_SETFL, O_NONBLOCK);
    while (read(ready[0], rest, sizeof rest) > 0) {
    }
    fcntl(ready[0], F_SETFL, 0);
    const std::string file = ReadFile(folder.Path("reg.par"));
    ASSERT_TRUE(file == ParameterFile(2, states[0]) || file == ParameterFile(2, states[1])) << i << ": " << file.size();
    ++seen[file == ParameterFile(2, states[1])];
  }
  close(ready[0]);
  close(ready[1]);
  EXPECT_GT(seen[0], 20);
  EXPECT_GT(seen[1], 20);
  // What a kill left beside the file is not taken for it.
  states[0][5] = 0.875;
  SetForgetting(run, 0.875);
  run->End();
  CRun again(folder, "test.lbx", kNamed);
  ExpectModel(again, states[0]);
  // And goes with the next save, but for what a live process is writing.
  const auto files = [&] { return std::distance(fs::directory_iterator(folder.Path(".")), fs::directory_iterator()); };
  EXPECT_EQ(files(), 2);
  runlib::TFileContext context = runtime::MakeFileContext(folder.Path("."));
  const std::uint32_t handle = runlib::FileCreate(&context, 7, u"reg.par", 0);
  ASSERT_NE(handle, runlib::kNoHandle);
  const pid_t other = Fork([&] { Keep(again); });
  waitpid(other, nullptr, 0);
  EXPECT_EQ(files(), 3);
  EXPECT_EQ(runlib::FileWrite(handle, 3, "new", 3), 3u);
  runlib::FileClose(handle);
  EXPECT_EQ(ReadFile(folder.Path("reg.par")), "new");
  EXPECT_EQ(files(), 2);
}

TEST(KeptParameters, StaysWhereNothingCanBeWrittenAndSaysSo) {
  const CFolder folder;
  folder.Write("reg.par", ParameterFile(2, kOther));
  CRun run(folder, "test.lbx", kNamed);
  SetForgetting(run, 0.125);
  const struct {
    const char* why;
    void (*prepare)(const std::string& folder);
  } obstacles[] = {
      {"File too large",  // midway, as on a full disk
       [](const std::string&) {
         signal(SIGXFSZ, SIG_IGN);
         const rlimit limit = {59, 59};
         setrlimit(RLIMIT_FSIZE, &limit);
       }},
      {"File too large",  // at once
       [](const std::string&) {
         signal(SIGXFSZ, SIG_IGN);
         const rlimit limit = {0, 0};
         setrlimit(RLIMIT_FSIZE, &limit);
       }},
      {"Too many open files",
       [](const std::string&) {
         const rlimit limit = {0, 0};
         setrlimit(RLIMIT_NOFILE, &limit);
       }},
      {"Permission denied",
       [](const std::string& place) {
         chmod(place.c_str(), 0555);
         if (geteuid() == 0 && seteuid(65534) != 0) _exit(1);
       }},
  };
  for (const auto& obstacle : obstacles) {
    SCOPED_TRACE(obstacle.why);
    const pid_t child = Fork([&] {
      std::string said;
      run->SetMessageSink(
          [&](const runtime::TRunTimeMessage& message) { said += message.instrument + ": " + message.text + "\n"; });
      obstacle.prepare(folder.Path("."));
      run->End();
      if (said != std::string("reg: 'reg.par' can't be written: ") + obstacle.why + "\n") _exit(2);
    });
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    chmod(folder.Path(".").c_str(), 0700);
    EXPECT_EQ(ReadFile(folder.Path("reg.par")), ParameterFile(2, kOther));
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.Path(".")), fs::directory_iterator()), 2);
  }
  Keep(run);
  TLearnt changed = kOther;
  changed[5] = 0.125;
  EXPECT_EQ(ReadFile(folder.Path("reg.par")), ParameterFile(2, changed));
}

}  // namespace
