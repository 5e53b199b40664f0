// The renderings of the status snapshot: histogram buckets as Prometheus reads them, and names
// that cannot break a label or a JSON string.
#include <gtest/gtest.h>

#include "core/StatusBoard.h"

namespace {

TEST(StatusBoard, TickHistogramIsCumulativeWithInclusiveBounds) {
    StatusFigures f;
    for (double s : {0.0004, 0.0005, 0.0006, 0.04, 2.0}) f.m_TickDuration.Add(s);
    std::string text = RenderMetrics(f);
    size_t from = text.find("quorvane_tick_duration_seconds_bucket");
    size_t to = text.find("# HELP", from);
    ASSERT_NE(from, std::string::npos);
    EXPECT_EQ(text.substr(from, to - from), "quorvane_tick_duration_seconds_bucket{le=\"0.0005\"} 2\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"0.001\"} 3\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"0.002\"} 3\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"0.005\"} 3\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"0.01\"} 3\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"0.02\"} 3\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"0.033\"} 3\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"0.05\"} 4\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"0.1\"} 4\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"0.25\"} 4\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"1\"} 4\n"
                                            "quorvane_tick_duration_seconds_bucket{le=\"+Inf\"} 5\n"
                                            "quorvane_tick_duration_seconds_sum 2.041500000\n"
                                            "quorvane_tick_duration_seconds_count 5\n");
}

TEST(StatusBoard, NamesAreEscapedInLabelsAndJson) {
    StatusSnapshot s;
    s.m_Figures.m_Pools.push_back({"a\"b\\c\nd", 1, 2, 3});
    EXPECT_NE(RenderMetrics(s.m_Figures).find("quorvane_pool_live_elements{pool=\"a\\\"b\\\\cd\"} 1\n"),
              std::string::npos);
    EXPECT_NE(RenderStatusJson(s).find("\"pools\":[{\"name\":\"a\\\"b\\\\cd\",\"live\":1,\"capacity\":2,"
                                       "\"committed_pages\":3}]"),
              std::string::npos);
}

} // namespace
