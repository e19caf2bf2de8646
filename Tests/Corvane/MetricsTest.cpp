#include "Corvane/requests/MetricsText.h"

#include "Corvane/support/Json.h"
#include "support/Test.h"

namespace corvane {
namespace {

TEST(ManagersMetrics, HaveEveryFigureThatABasebandMayHave) {
    const std::string fixtures = FIXTURES;
    EXPECT_EQ(metricsText(parseJson(support::readFile(fixtures + "/figures.json"), 8), "/run/\"1\""),
              support::readFile(fixtures + "/figures.prom"));
}

}  // namespace
}  // namespace corvane
