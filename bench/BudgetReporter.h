#pragma once

#include <benchmark/benchmark.h>

#include <QGuiApplication>

#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// The console report of Google Benchmark, then one summary line for each run that `lineOf`
// picks (a time against its frame budget), printed together at the end.
class BudgetReporter : public benchmark::ConsoleReporter {
public:
    using LineOf = std::function<std::optional<std::string>(const Run& run)>;
    explicit BudgetReporter(LineOf lineOf) : m_lineOf(std::move(lineOf)) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (auto line = m_lineOf(run)) m_lines.push_back(std::move(*line));
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        for (const std::string& line : m_lines)
            std::printf("%s\n", line.c_str());
    }

private:
    LineOf m_lineOf;
    std::vector<std::string> m_lines;
};

// The main of a drawing benchmark: Qt's offscreen platform (for fonts), then every benchmark
// reported through a BudgetReporter.
inline int runDrawingBenchmarks(int argc, char** argv, BudgetReporter::LineOf lineOf) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);
    benchmark::Initialize(&argc, argv);
    BudgetReporter reporter(std::move(lineOf));
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
