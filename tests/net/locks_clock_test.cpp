// Mutex, Semaphore and SystemClock: the exclusion they promise under real threads, and the
// clock's two time forms.
#include <errno.h>
#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

#include "asn1/X500Time.h"
#include "net/Mutex.h"
#include "net/Semaphore.h"
#include "net/SystemClock.h"

namespace {

TEST(Locks, MutexExcludesOtherThreads) {
    Mutex m;
    long counter = 0;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            for (int i = 0; i < 20000; ++i) {
                MutexLock hold(m);
                ++counter;
            }
        });
    }
    for (auto& t : threads) t.join();
    EXPECT_EQ(counter, 80000);
    ASSERT_EQ(m.lock(), 0);
    std::thread other([&] { EXPECT_EQ(m.trylock(), EBUSY); });
    other.join();
    m.unlock();
}

TEST(Locks, BinarySemaphore) {
    Semaphore s(0, 1);
    EXPECT_EQ(s.trywait(), 0);
    EXPECT_NE(s.trywait(), 0);
    std::thread poster([&] { s.post(); });
    EXPECT_EQ(s.wait(), 0);  // released by the other thread
    poster.join();
    Semaphore plain;
    EXPECT_EQ(plain.trywait(), 0);
}

TEST(Clock, BothFormsCarryTheCurrentTime) {
    time_t before = SystemClock::getTime();
    std::unique_ptr<X500Time> utc(SystemClock::getUTCTime());
    std::unique_ptr<X500Time> generalized(SystemClock::getGeneralizedTime());
    time_t after = SystemClock::getTime();
    EXPECT_EQ(utc->getFormat(), X500Time::kUTCTime);
    EXPECT_EQ(generalized->getFormat(), X500Time::kGeneralizedTime);
    EXPECT_GE(utc->getClockValue(), before);
    EXPECT_LE(generalized->getClockValue(), after);
    std::unique_ptr<char[]> text(generalized->getValue());
    EXPECT_EQ(std::string(text.get()).size(), 15u);  // YYYYMMDDhhmmssZ
}

}  // namespace
