// The file in which a class keeps what it has learnt.
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "validation/cases.h"
#include "validation/testbed.h"

namespace validation {

namespace {

namespace fs = std::filesystem;

constexpr char kFile[] = "learnt.par";
constexpr int kPeriods = 60;

void RequireFile(const CProbe& probe, const CClassChoices& texts) {
  std::string block;
  std::string keyword;
  if (!texts.FileKeyword(&block, &keyword)) probe.Skip("the class has no keyword for a file");
}

std::string Bytes(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void Write(const std::string& path, const std::string& bytes) {
  fs::remove(path);
  std::ofstream(path, std::ios::binary) << bytes;
}

// What an instrument saves that finds the file as it is and runs that long.
std::string SavedAfter(CProbe& probe, const CClassChoices& texts, int periods) {
  const auto testbed = MakeTestbed(probe, texts, texts.WithFile(kFile));
  RunOrdinary(probe, texts, *testbed, periods);
  probe.Doing("saving the file");
  testbed->Application().End();
  return Bytes(probe.Path(kFile));
}

void RoundTrip(CProbe& probe) {
  const CClassChoices texts(probe);
  RequireFile(probe, texts);
  const CBalance balance;
  const std::string fresh = SavedAfter(probe, texts, 0);
  fs::remove(probe.Path(kFile));
  const std::string learnt = SavedAfter(probe, texts, kPeriods);
  probe.Expect(!learnt.empty(), "saves no file at the end of a run");
  probe.Expect(learnt != fresh, "saves after " + std::to_string(kPeriods) + " periods what it saves after none");
  probe.Expect(SavedAfter(probe, texts, 0) == learnt, "a new instrument loads the file and saves another");
  balance.Check(probe, "files saved and loaded");
}

void BadFiles(CProbe& probe) {
  const CClassChoices texts(probe);
  RequireFile(probe, texts);
  const std::string path = probe.Path(kFile);
  const std::string fresh = SavedAfter(probe, texts, 0);
  fs::remove(path);
  const std::string good = SavedAfter(probe, texts, kPeriods);
  const double nan = std::nan("");
  std::string withNan = good;
  if (withNan.size() >= sizeof nan) std::memcpy(&withNan[withNan.size() - sizeof nan], &nan, sizeof nan);
  std::string other = good;
  if (!other.empty()) ++other[0];
  const struct {
    const char* what;
    std::string bytes;
    bool refused;  // must leave what a new instrument has
  } rows[] = {
      {"an empty file", "", true},
      {"a file that lacks a byte", good.substr(0, good.size() - std::min<std::size_t>(1, good.size())), true},
      {"half a file", good.substr(0, good.size() / 2), true},
      {"a file with a byte more", good + '\0', true},
      {"a file of another kind in its first byte", other, false},
      {"a file with NaN at its end", withNan, false},
      {"a file of bytes 0xFF", std::string(good.size(), '\xFF'), false},
      {"a huge file", std::string(1 << 20, 'x'), true},
  };
  const CBalance balance;
  for (const auto& [what, bytes, refused] : rows) {
    Write(path, bytes);
    const auto testbed = MakeTestbed(probe, texts, texts.WithFile(kFile));
    probe.Doing(std::string("saving after loading ") + what);
    testbed->Application().End();
    const std::string saved = Bytes(path);
    if (refused) probe.Expect(saved == fresh, std::string("takes something from ") + what);
    probe.Expect(saved.size() == good.size(), std::string("saves a file of another size after loading ") + what);
    probe.Expect(withNan == good || saved != withNan, std::string("keeps the NaN of ") + what);
    Write(path, bytes);
    const auto running = MakeTestbed(probe, texts, texts.WithFile(kFile));
    probe.Doing(std::string("running after loading ") + what);
    RunOrdinary(probe, texts, *running, kPeriods);
  }
  balance.Check(probe, "bad files");
}

void Folder(CProbe& probe) {
  const CClassChoices texts(probe);
  RequireFile(probe, texts);
  fs::create_directory(probe.Path(kFile));
  const CBalance balance;
  {
    const auto testbed = MakeTestbed(probe, texts, texts.WithFile(kFile));
    RunOrdinary(probe, texts, *testbed, kPeriods);
    probe.Doing("saving to a folder");
    testbed->Application().End();
  }
  balance.Check(probe, "a folder in place of the file");
  probe.Expect(fs::is_directory(probe.Path(kFile)), "replaces a folder by its file");
}

void Outside(CProbe& probe) {
  const CClassChoices texts(probe);
  RequireFile(probe, texts);
  for (const char* name : {"../learnt.par", "/tmp/learnt.par", "a/../../learnt.par"}) {
    probe.Doing(std::string("reading the file name ") + name);
    const CTestbed testbed(probe, texts, texts.WithFile(name));
    probe.Expect(!testbed.IsRead(), std::string("takes the file name ") + name);
  }
}

constexpr TCase kFileCases[] = {
    {"files/round-trip", EScope::kClass, "What is saved and loaded by a new instrument is saved again byte for byte.",
     RoundTrip},
    {"files/bad", EScope::kClass,
     "Files that are short, long, empty or huge leave what was; others do no harm, and no NaN is kept.", BadFiles},
    {"files/folder", EScope::kClass, "A folder in place of the file does no harm and stays.", Folder},
    {"files/outside", EScope::kClass, "A name that leaves the application's folder is refused.", Outside},
};

}  // namespace

std::span<const TCase> FileCases() { return kFileCases; }

}  // namespace validation
