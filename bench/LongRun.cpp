// long_run: drives the metrics of a simulated machine (by default 64 CPUs: 2
// packages x 16 cores x 2 threads) through the real host pipeline: `vantry --simulate`
// with its FILE collector reading a generated machine tree, every feature on,
// 100 ms polls. It runs one simulated hour and, for comparison, six simulated
// minutes, and prints for each the wall and processor time, the peak memory
// of the host and the size of its result file.
//
// Memory must not grow with the number of samples: the host streams raw
// readings to its result file and keeps only per-key statistics, so the two
// peaks should be about equal.
//
//   long_run [--minutes N] [--cpus N]
//     --minutes: default 60; the comparison run is N / 10
//     --cpus: logical processors, a multiple of 4 from 4 to 4096 (default
//             64); always 2 packages of 2-thread cores
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "bench/support/ChildRun.h"

namespace fs = std::filesystem;

namespace {

constexpr int c_packages = 2;
constexpr int c_threadsPerCore = 2;
// Set from --cpus before the machine is written.
int g_coresPerPackage = 16;
int g_cpus = c_packages * 16 * c_threadsPerCore;
// Snapshots of the machine; the collector steps through them one per poll
// and stays on the last, so counters move during the first polls only.
constexpr int c_snapshots = 12;

void put(const fs::path& path, const std::string& text) {
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary) << text;
}

// Logical processors are numbered as Linux does on such a machine: the
// first thread of every core, then the second ones.
void cpuPlace(int cpu, int& package, int& core) {
    const int coreIndex = cpu % (c_packages * g_coresPerPackage);
    package = coreIndex / g_coresPerPackage;
    core = coreIndex % g_coresPerPackage;
}

void writeSnapshot(const fs::path& root, int k) {
    put(root / "etc/os-release", "PRETTY_NAME=\"Simulated Linux\"\nNAME=\"Simulated Linux\"\n");
    put(root / "proc/sys/kernel/ostype", "Linux\n");
    put(root / "proc/sys/kernel/osrelease", "6.1.0-simulated\n");
    put(root / "proc/sys/kernel/hostname", "sim64\n");
    put(root / "sys/class/dmi/id/product_name",
        "Simulated " + std::to_string(g_cpus) + "-CPU server\n");
    const std::string range = "0-" + std::to_string(g_cpus - 1) + "\n";
    put(root / "sys/devices/system/cpu/present", range);
    put(root / "sys/devices/system/cpu/online", range);
    std::string header = "    ";
    std::string timer = "LOC:";
    for (int cpu = 0; cpu < g_cpus; ++cpu) {
        int package = 0;
        int core = 0;
        cpuPlace(cpu, package, core);
        const fs::path dir = root / ("sys/devices/system/cpu/cpu" + std::to_string(cpu));
        put(dir / "topology/physical_package_id", std::to_string(package) + "\n");
        put(dir / "topology/core_id", std::to_string(core) + "\n");
        put(dir / "topology/die_id", "0\n");
        put(dir / "cpufreq/scaling_cur_freq",
            std::to_string(1200000 + 100000 * ((cpu + k) % 20)) + "\n");
        const char* names[] = {"POLL", "C1", "C6"};
        for (int s = 0; s < 3; ++s) {
            // Per 100 ms poll: 1 ms POLL, 20 ms C1, a share of C6 that varies.
            const long long perPoll[] = {1000, 20000, 30000 + 1000 * ((cpu + s) % 30)};
            const fs::path state = dir / ("cpuidle/state" + std::to_string(s));
            put(state / "name", std::string(names[s]) + "\n");
            put(state / "time", std::to_string(1000000LL + perPoll[s] * k) + "\n");
        }
        char cell[32];
        std::snprintf(cell, sizeof(cell), " %10s", ("CPU" + std::to_string(cpu)).c_str());
        header += cell;
        std::snprintf(cell, sizeof(cell), " %10lld", 1000LL + 100LL * k * (1 + cpu % 4));
        timer += cell;
    }
    put(root / "proc/interrupts", header + "\n" + timer + "   Local timer interrupts\n");
    put(root / "proc/diskstats", " 259       0 nvme0n1 " + std::to_string(900 + 10 * k) + " 0 " +
                                     std::to_string(7200 + 800 * k) + " 10 20 0 " +
                                     std::to_string(3600 + 400 * k) + " 30 0 40 50 0 0 0 0 0 0\n");
    put(root / "sys/block/nvme0n1/dev", "259:0\n");
    put(root / "proc/net/dev",
        "Inter-|   Receive                                                |  Transmit\n"
        " face |bytes    packets errs drop fifo frame compressed multicast|bytes    packets "
        "errs drop fifo colls carrier compressed\n"
        "  eth0: " +
            std::to_string(1000000 + 125000 * k) +
            "    6971    0    0    0     0          0         0   " +
            std::to_string(200000 + 25000 * k) +
            "    3533    0    0    0     0       0          0\n");
    for (int zone = 0; zone < c_packages; ++zone) {
        const fs::path dir = root / ("sys/class/thermal/thermal_zone" + std::to_string(zone));
        put(dir / "type", "x86_pkg_temp\n");
        put(dir / "temp", std::to_string(45000 + 1000 * ((k + zone) % 7)) + "\n");
    }
    for (int package = 0; package < c_packages; ++package) {
        const fs::path dir = root / ("sys/class/powercap/intel-rapl:" + std::to_string(package));
        put(dir / "name", "package-" + std::to_string(package) + "\n");
        put(dir / "energy_uj", std::to_string(5000000 + 1500000LL * k) + "\n");
        put(dir / "max_energy_range_uj", "262143328850\n");
    }
}

struct Run {
    int minutes;
    vantry_bench::ChildCost cost;
    uintmax_t resultBytes = 0;
};

bool runHost(const std::string& vantry, const fs::path& work, Run& run) {
    const fs::path output = work / ("run" + std::to_string(run.minutes));
    const std::vector<std::string> args = {"--simulate",
                                           "--source-root",
                                           (work / "machine").string(),
                                           "-f",
                                           "all",
                                           "-t",
                                           std::to_string(run.minutes * 60),
                                           "-n",
                                           "100",
                                           "-r",
                                           "csv",
                                           "-o",
                                           output.string()};
    if (!vantry_bench::runChild(vantry, args, (work / "host.log").string(), run.cost) ||
        run.cost.exitCode != 0) {
        std::fprintf(stderr, "long_run: %s failed (exit %d); see %s\n", vantry.c_str(),
                     run.cost.exitCode, (work / "host.log").string().c_str());
        return false;
    }
    std::error_code ec;
    run.resultBytes = fs::file_size(output.string() + ".vtr", ec);
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    int minutes = 60;
    for (int i = 1; i + 1 < argc; ++i) {
        const std::string option = argv[i];
        if (option == "--minutes") {
            minutes = std::max(1, std::atoi(argv[i + 1]));
        } else if (option == "--cpus") {
            const int cpus = std::atoi(argv[i + 1]);
            if (cpus < 4 || cpus > 4096 || cpus % 4 != 0) {
                std::fprintf(stderr, "long_run: --cpus takes a multiple of 4 from 4 to 4096\n");
                return 2;
            }
            g_cpus = cpus;
            g_coresPerPackage = cpus / (c_packages * c_threadsPerCore);
        }
    }
    const fs::path self = fs::absolute(argv[0]);
    const fs::path vantry = self.parent_path() / self.filename().string().replace(
                                                     0, std::string("long_run").size(), "vantry");
    const fs::path work = fs::temp_directory_path() / "vantry_long_run";
    fs::remove_all(work);
    for (int k = 0; k < c_snapshots; ++k) {
        writeSnapshot(work / "machine" / std::to_string(k), k);
    }

    std::vector<Run> runs = {{std::max(1, minutes / 10), {}}, {minutes, {}}};
    std::printf("simulated machine: %d logical processors, every feature, 100 ms polls\n", g_cpus);
    std::printf("%-10s %8s %10s %10s %12s %14s\n", "simulated", "polls", "wall s", "cpu s",
                "peak MiB", "result MiB");
    for (Run& run : runs) {
        if (!runHost(vantry.string(), work, run)) {
            return 1;
        }
        std::printf("%7d min %8d %10.1f %10.1f %12.1f %14.1f\n", run.minutes, run.minutes * 600,
                    run.cost.wallSeconds, run.cost.cpuSeconds, run.cost.peakBytes / 1048576.0,
                    run.resultBytes / 1048576.0);
    }
    const double growth = static_cast<double>(runs[1].cost.peakBytes) /
                          static_cast<double>(std::max<uint64_t>(1, runs[0].cost.peakBytes));
    std::printf("peak memory, %d min over %d min: %.2fx for %dx the samples\n", runs[1].minutes,
                runs[0].minutes, growth, runs[1].minutes / runs[0].minutes);
    fs::remove_all(work);
    return 0;
}
