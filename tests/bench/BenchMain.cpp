#include "BenchMain.h"

#include "BenchOptions.h"
#include "BenchReport.h"
#include "ProcessUsage.h"

#include <cstdio>

int BenchMain::run(int argc, char** argv, const Program& program) {
    BenchOptions options(argc, argv);
    std::vector<std::string> absent = options.missing(program.required);
    if (!absent.empty()) {
        std::fprintf(stderr, "missing --%s; see the comment at the top of %s\n", absent[0].c_str(),
                     program.source);
        return 2;
    }
    const bool counted = options.has("callgrind");
    BenchReport report;
    report.add("benchmark", program.benchmark + (counted ? "-callgrind" : ""));
    report.add("load_before", ProcessUsage::loadAverage());
    (counted ? program.counted : program.timed)(options, report);
    report.add("load_after", ProcessUsage::loadAverage());
    return report.finish(options.get("json"));
}
