// A small benchmark harness: each contender runs the same work for a while,
// the contenders take turns over several rounds (so that a noisy moment
// hits them alike), and the median rate of each is reported with its
// ratio to the first.
#ifndef COMMONTOOLS_BENCH_HARNESS_H
#define COMMONTOOLS_BENCH_HARNESS_H

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

namespace Bench {

struct Contender
{
    std::string name;
    // Does one unit of work and returns how many items it handled (bytes,
    // expressions...), for the rate.
    std::function<double()> run;
};

// Keeps the compiler from dropping work whose result is not used.
template <typename T>
inline void keep(const T& value)
{
    asm volatile("" : : "r,m"(value) : "memory");
}

inline double secondsFromArguments(int argc, char** argv, double fallback)
{
    return argc > 1 ? std::atof(argv[1]) : fallback;
}

// Items per second of run over about seconds.
inline double rate(const std::function<double()>& run, double seconds)
{
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    double items = 0;
    double elapsed = 0;
    do {
        items += run();
        elapsed = std::chrono::duration<double>(Clock::now() - start).count();
    } while (elapsed < seconds);
    return items / elapsed;
}

// Runs every contender for seconds per round, five rounds, and prints the
// median rates in unit per second and the ratios to the first contender.
inline std::vector<double> compare(const std::string& title, const std::string& unit,
                                   const std::vector<Contender>& contenders, double seconds)
{
    constexpr int kRounds = 5;
    std::vector<std::vector<double>> rates(contenders.size());
    for (const Contender& c : contenders)
        c.run(); // warm up
    for (int round = 0; round < kRounds; ++round) {
        for (size_t i = 0; i < contenders.size(); ++i)
            rates[i].push_back(rate(contenders[i].run, seconds));
    }
    std::vector<double> medians;
    for (auto& r : rates) {
        std::sort(r.begin(), r.end());
        medians.push_back(r[r.size() / 2]);
    }
    std::printf("%s\n", title.c_str());
    for (size_t i = 0; i < contenders.size(); ++i) {
        std::printf("  %-34s %14.4g %s/s", contenders[i].name.c_str(), medians[i], unit.c_str());
        if (i > 0)
            std::printf("   %s is %.2fx this", contenders[0].name.c_str(), medians[0] / medians[i]);
        std::printf("\n");
    }
    return medians;
}

} // namespace Bench

#endif
