// What a log call costs its caller, beside the same line written by the caller itself (open, append, close),
// which is what a logger without a worker would do.

#include "inc/CxLog.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>

namespace
{

std::string BenchDirectory()
{
    const auto directory = std::filesystem::temp_directory_path() / "watchwall-log-bench";
    std::filesystem::create_directories(directory);
    return directory.string() + "/";
}

void LogCall(benchmark::State& state)
{
    static CxLog log(BenchDirectory());
    for (auto _ : state)
        log.Log("common/RenderWnd.cpp", "CRenderWnd::Init", 42, ELogLevel::Message, "picture %d of channel %d",
                12345, 7);
}

void DirectWrite(benchmark::State& state)
{
    const std::string path = BenchDirectory() + "direct.log";
    for (auto _ : state) {
        std::FILE* file = std::fopen(path.c_str(), "a");
        std::fprintf(file, "%s picture %d of channel %d\r\n", "2026-01-31 12:00:00.000 Message", 12345, 7);
        std::fclose(file);
    }
}

// A fixed count keeps the file small: each line is about 100 bytes.
BENCHMARK(LogCall)->Iterations(100000)->Repetitions(5)->ReportAggregatesOnly()->Unit(benchmark::kMicrosecond);
BENCHMARK(DirectWrite)
    ->Iterations(20000)
    ->Repetitions(5)
    ->ReportAggregatesOnly()
    ->Unit(benchmark::kMicrosecond);

}  // namespace

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    std::filesystem::remove_all(std::filesystem::temp_directory_path() / "watchwall-log-bench");
}
