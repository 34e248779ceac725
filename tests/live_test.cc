// What processes of a run share: the newest of a table, rings, and what a keeper keeps.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <unistd.h>

#include <thread>

#include "live/clock.h"
#include "live/keeper.h"
#include "live/newest.h"
#include "live/ring.h"
#include "tests/support.h"

namespace {

constexpr std::size_t kCount = 100;

std::unique_ptr<live::CSharedBlock> Block() {
  std::string error;
  auto block = live::CSharedBlock::Make(1 << 16, &error);
  if (block == nullptr) throw std::runtime_error(error);
  return block;
}

void WaitForHangUp(int descriptor) {
  pollfd polled{descriptor, 0, 0};
  poll(&polled, 1, -1);
}

template <typename TCondition>
bool Comes(TCondition condition) {
  const double until = live::Now() + 5.0;
  while (!condition() && live::Now() < until) usleep(1000);
  return condition();
}

TEST(Live, TheNewestTableIsWhole) {
  const auto block = Block();
  live::CNewest<std::uint64_t> table(*block, kCount);
  EXPECT_EQ(table.Take()[kCount - 1], 0U);
  constexpr std::uint64_t kLast = 200000;
  std::thread writer([&table] {
    std::vector<std::uint64_t> next(kCount);
    for (std::uint64_t i = 1; i <= kLast; ++i) {
      std::fill(next.begin(), next.end(), i);
      table.Write(next);
    }
  });
  std::uint64_t seen = 0;
  std::uint64_t torn = 0;
  std::uint64_t older = 0;
  while (seen < kLast) {
    const auto taken = table.Take();
    torn += std::count(taken.begin(), taken.end(), taken[0]) != kCount;
    older += taken[0] < seen;
    seen = taken[0];
  }
  writer.join();
  EXPECT_EQ(torn, 0U);
  EXPECT_EQ(older, 0U);
  // The reader's table stands while the writer writes.
  const auto taken = table.Take();
  for (std::uint64_t i = 1; i < 5; ++i) table.Write(std::vector<std::uint64_t>(kCount, i));
  EXPECT_EQ(taken[0], kLast);
  EXPECT_EQ(table.Take()[0], 4U);
}

TEST(Live, ARingHandsOverInOrderAndSaysWhenItIsFull) {
  const auto block = Block();
  live::CRing<std::uint64_t, 8> ring(*block);
  std::uint64_t taken = 0;
  EXPECT_FALSE(ring.Take(&taken));
  for (std::uint64_t i = 0; i < 8; ++i) EXPECT_TRUE(ring.Put(i));
  EXPECT_FALSE(ring.Put(8));
  constexpr std::uint64_t kLast = 20000;
  std::thread writer([&ring] {
    for (std::uint64_t i = 8; i < kLast; i += ring.Put(i)) std::this_thread::yield();
  });
  std::uint64_t astray = 0;
  for (std::uint64_t i = 0; i < kLast;) {
    if (ring.Take(&taken)) {
      astray += taken != i++;
    } else {
      std::this_thread::yield();
    }
  }
  EXPECT_EQ(astray, 0U);
  writer.join();
}

TEST(Live, AKeeperMakesAWorkerAgainAsOftenAsItIsTold) {
  const auto block = Block();
  auto* const started = block->Place<std::atomic<int>>();
  auto* const worker = block->Place<std::atomic<pid_t>>();
  std::string error;
  live::TKeeping keeping;
  keeping.work = [started, worker](int loop) {
    worker->store(getpid());
    started->fetch_add(1);
    WaitForHangUp(loop);
    return 0;
  };
  keeping.again = keeping.work;
  for (const int times : {0, 1, -1}) {
    keeping.times = times;
    started->store(0);
    const auto keeper = live::CKeeper::Start(keeping, &error);
    ASSERT_NE(keeper, nullptr) << error;
    const int ends = times < 0 ? 3 : times + 1;
    for (int end = 1; end <= ends; ++end) {
      ASSERT_TRUE(Comes([&] { return started->load() == end; }));
      EXPECT_TRUE(keeper->IsAlive());
      kill(worker->load(), SIGKILL);
      ASSERT_TRUE(Comes([&] { return keeper->Deaths() == static_cast<unsigned>(end); }));
    }
    EXPECT_EQ(WTERMSIG(keeper->HowLast()), SIGKILL);
    EXPECT_TRUE(Comes([&] { return keeper->IsAlive() == (times < 0); }));
    EXPECT_TRUE(keeper->End(5.0));
    EXPECT_NE(kill(keeper->Id(), 0), 0);
  }
}

TEST(Live, WhoDoesNotEndIsKilled) {
  const auto block = Block();
  auto* const worker = block->Place<std::atomic<pid_t>>();
  std::string error;
  live::TKeeping keeping;
  keeping.work = [worker](int) {
    worker->store(getpid());
    for (;;) pause();
    return 0;
  };
  auto keeper = live::CKeeper::Start(keeping, &error);
  ASSERT_NE(keeper, nullptr) << error;
  ASSERT_TRUE(Comes([&] { return worker->load() != 0; }));
  EXPECT_FALSE(keeper->End(0.05));
  keeper.reset();
  EXPECT_TRUE(Comes([&] { return kill(worker->load(), 0) != 0; }));
}

}  // namespace
