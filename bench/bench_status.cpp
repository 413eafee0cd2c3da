// Reading the dpkg status database: synthetic files of realistic blocks, this machine's own file, the
// rarely seen CR LF form, and a bare memchr line count over the same bytes as the floor.
#include "device/installedpackages.h"

#include <QByteArray>
#include <QFile>

#include <benchmark/benchmark.h>

#include <cstring>

namespace {

// A block shaped like the ones dpkg writes: most lines are fields the reader skips, some continuation.
QByteArray syntheticStatus(int blocks, const char *lineBreak = "\n")
{
    static const char *const kStates[] = {"install ok installed", "install ok installed",
                                          "install ok installed", "deinstall ok config-files",
                                          "purge ok not-installed"};
    QByteArray text;
    for (int i = 0; i < blocks; ++i) {
        const QByteArray n = QByteArray::number(i);
        text +=
            "Package: com.example.package" + n + "\nStatus: " + kStates[i % 5] +
            "\nPriority: optional\nSection: Tweaks\nInstalled-Size: " + QByteArray::number(100 + i % 900) +
            "\nMaintainer: Example Developer <dev@example.com>\nArchitecture: iphoneos-arm64\nVersion: 1." +
            n +
            "-1\nDepends: firmware (>= 14.0), mobilesubstrate (>= 0.9.5000), preferenceloader\n"
            "Conffiles:\n /var/jb/Library/Preferences/com.example.package" +
            n + ".plist 0123456789abcdef0123456789abcdef\nDescription: An example package number " + n +
            "\n It hooks into SpringBoard and changes how the home screen looks.\n"
            " It has a settings pane with many switches.\n\n";
    }
    if (std::strcmp(lineBreak, "\n") != 0) {
        text.replace("\n", lineBreak);
    }
    return text;
}

void runParse(benchmark::State &state, const QByteArray &status)
{
    qsizetype installed = 0;
    for (auto _ : state) {
        const QSet<QString> set = parseInstalledPackages(status);
        installed = set.size();
        benchmark::DoNotOptimize(installed);
    }
    state.SetBytesProcessed(state.iterations() * status.size());
    state.counters["installed"] = double(installed);
}

void BM_StatusSynthetic(benchmark::State &state)
{
    runParse(state, syntheticStatus(int(state.range(0))));
}
BENCHMARK(BM_StatusSynthetic)->Arg(1000)->Arg(5000)->Unit(benchmark::kMicrosecond);

void BM_StatusSyntheticCrLf(benchmark::State &state)
{
    runParse(state, syntheticStatus(int(state.range(0)), "\r\n"));
}
BENCHMARK(BM_StatusSyntheticCrLf)->Arg(5000)->Unit(benchmark::kMicrosecond);

// One block of N MB of description lines between ordinary blocks: the bytes per second must not fall as N
// grows, or some step of the reader is worse than linear in the size of one block.
void BM_StatusHugeStanza(benchmark::State &state)
{
    QByteArray status = syntheticStatus(100);
    status += "Package: com.example.huge\nStatus: install ok installed\nDescription: start\n";
    const qsizetype target = status.size() + state.range(0) * 1024 * 1024;
    while (status.size() < target) {
        status += " a continuation line of a very long description\n";
    }
    status += "\n" + syntheticStatus(100);
    runParse(state, status);
}
BENCHMARK(BM_StatusHugeStanza)->Arg(5)->Arg(20)->Unit(benchmark::kMillisecond);

void BM_StatusHostFile(benchmark::State &state)
{
    QFile file(QStringLiteral("/var/lib/dpkg/status"));
    if (!file.open(QIODevice::ReadOnly)) {
        state.SkipWithError("no /var/lib/dpkg/status on this machine");
        return;
    }
    runParse(state, file.readAll());
}
BENCHMARK(BM_StatusHostFile)->Unit(benchmark::kMicrosecond);

// The floor: find every line end and nothing else.
void BM_StatusMemchrFloor(benchmark::State &state)
{
    const QByteArray status = syntheticStatus(int(state.range(0)));
    for (auto _ : state) {
        const char *pos = status.constData();
        const char *const end = pos + status.size();
        qsizetype lines = 0;
        while (const void *hit = std::memchr(pos, '\n', size_t(end - pos))) {
            pos = static_cast<const char *>(hit) + 1;
            ++lines;
        }
        benchmark::DoNotOptimize(lines);
    }
    state.SetBytesProcessed(state.iterations() * status.size());
}
BENCHMARK(BM_StatusMemchrFloor)->Arg(5000)->Unit(benchmark::kMicrosecond);

} // namespace
