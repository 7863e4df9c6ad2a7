#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "emulator/PrintJobCollector.hpp"

// How packets that arrive one connection at a time become jobs: resends, second senders at
// one address, skipped tags, jobs whose sender vanished or gave up, restarts of the unit.

namespace vantoemu {
namespace {

using namespace std::chrono_literals;
using Clock = PrintJobCollector::Clock;
using UBytes = std::vector<std::uint8_t>;

// The end of a job, a printer status query from the sender, a restart of the unit.
constexpr int END = 0;
constexpr int QUERY = -1;
constexpr int RESTART = -2;

// One thing happening: a data packet (tag 1..15), or one of the above.
struct Step {
    std::string sender;
    int tag;
    std::string content;
    bool readable = true;  // the acknowledgement reached the sender intact
};

struct Paper {
    std::string bytes;
    std::string marks;
};

struct Scenario {
    const char* name;
    std::vector<Step> steps;
    std::vector<Paper> expected;
};

std::vector<Paper> run(const std::vector<Step>& steps) {
    PrintJobCollector collector(200s);
    const auto now = Clock::now();
    std::vector<Paper> paper;
    auto keep = [&](const std::vector<PrintJob>& finished) {
        for (const auto& job : finished) {
            paper.push_back({std::string(job.bytes.begin(), job.bytes.end()),
                             jobMarks(job.incomplete, job.interleaved)});
        }
    };
    for (const auto& step : steps) {
        if (step.tag == END) {
            keep(collector.endOfJob(step.sender, now));
            continue;
        }
        if (step.tag == QUERY) {
            collector.statusQuery(step.sender);
            continue;
        }
        if (step.tag == RESTART) {
            keep(collector.restart());
            continue;
        }
        const UBytes content(step.content.begin(), step.content.end());
        const auto accepted =
            collector.data(step.sender, static_cast<std::uint8_t>(step.tag), content, now);
        if (accepted.outcome == PrintJobCollector::Outcome::Kept) {
            collector.answered(accepted.job, step.readable);
        }
        keep(accepted.finished);
    }
    keep(collector.expire(now + 201s));
    return paper;
}

const std::string A = "10.0.0.5";
const std::string B = "10.0.0.6";

// A job's first fifteen packets, tags 1 to 15, carrying "1" to "9" and "a" to "f".
std::vector<Step> fifteenPackets(const std::string& sender) {
    std::vector<Step> steps;
    for (int tag = 1; tag <= 15; ++tag) {
        steps.push_back({sender, tag, std::string(1, "0123456789abcdef"[tag])});
    }
    return steps;
}

std::vector<Step> then(std::vector<Step> first, const std::vector<Step>& rest) {
    first.insert(first.end(), rest.begin(), rest.end());
    return first;
}

class Collector : public ::testing::TestWithParam<Scenario> {};

TEST_P(Collector, PutsOnPaperWhatArrivedMarkedAsFarAsTheTagsTell) {
    const auto paper = run(GetParam().steps);
    ASSERT_EQ(paper.size(), GetParam().expected.size());
    for (std::size_t i = 0; i < paper.size(); ++i) {
        EXPECT_EQ(paper[i].bytes, GetParam().expected[i].bytes) << "receipt " << i;
        EXPECT_EQ(paper[i].marks, GetParam().expected[i].marks) << "receipt " << i;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Jobs, Collector,
    ::testing::Values(
        Scenario{"ResendAfterAnUnreadableAnswerIsDropped",
                 {{A, 1, "a", false}, {A, 1, "a"}, {A, 2, "b"}, {A, 0, ""}},
                 {{"ab", "complete"}}},
        Scenario{"TagsWrapAfterFifteen",
                 then(fifteenPackets(A), {{A, 1, "g"}, {A, END, ""}}),
                 {{"123456789abcdefg", "complete"}}},
        Scenario{"SkippedTagMeansIncomplete",
                 {{A, 1, "a"}, {A, 2, "b"}, {A, 4, "d"}, {A, 0, ""}},
                 {{"abd", "incomplete"}}},
        Scenario{"CutOffJobIsNotGluedToTheNext",
                 {{A, 1, "x"}, {A, 2, "y"}, {A, 1, "N"}, {A, 2, "E"}, {A, 3, "W"}, {A, 0, ""}},
                 {{"xy", "incomplete"}, {"NEW", "complete"}}},
        Scenario{
            "SilentSenderIsCutOffAfterTheGap", {{A, 1, "a"}, {A, 2, "b"}}, {{"ab", "incomplete"}}},
        Scenario{"TwoIdenticalReceiptsInStepComeOutWholeAndMarked",
                 {{A, 1, "p"},
                  {A, 1, "p"},
                  {A, 2, "q"},
                  {A, 2, "q"},
                  {A, 3, "r"},
                  {A, 3, "r"},
                  {A, 0, ""},
                  {A, 0, ""}},
                 {{"pqr", "interleaved"}, {"pqr", "interleaved"}}},
        Scenario{"SecondSenderStartingLaterIsMarkedNotCut",
                 {{A, 1, "a"},
                  {A, 2, "b"},
                  {A, 1, "X"},
                  {A, 3, "c"},
                  {A, 2, "Y"},
                  {A, 0, ""},
                  {A, 3, "Z"},
                  {A, 0, ""}},
                 {{"abc", "interleaved"}, {"XYZ", "interleaved"}}},
        Scenario{"AnEndNeverToldApartGoesToTheJobHeardFromLast",
                 {{A, 1, "a"}, {A, 1, "b"}, {A, 0, ""}},
                 {{"b", "interleaved"}, {"a", "incomplete, interleaved"}}},
        Scenario{"SendersAtTwoAddressesNeverMix",
                 {{A, 1, "a"}, {B, 1, "x"}, {A, 2, "b"}, {B, 2, "y"}, {B, 0, ""}, {A, 0, ""}},
                 {{"xy", "complete"}, {"ab", "complete"}}},
        Scenario{
            "EndWithNothingBeforeItIsAnEmptyIncompleteJob", {{A, 0, ""}}, {{"", "incomplete"}}},
        Scenario{"ConfigPageContinuesTheTagsWithoutLosingAnything",
                 {{A, 4, "\x1F\x74"}, {A, 0, ""}},
                 {{"\x1F\x74", "complete"}}},
        Scenario{"JobStartingPastTagOneLostItsStart",
                 {{A, 4, "d"}, {A, 5, "e"}, {A, 0, ""}},
                 {{"de", "incomplete"}}},
        // A client that stops mid-receipt and starts the next one.
        Scenario{"AnswerLostAndNotResentThenTheNextReceipt",
                 {{A, 1, "a"}, {A, 2, "b", false}, {A, QUERY, ""}, {A, 1, "N"}, {A, END, ""}},
                 {{"ab", "incomplete"}, {"N", "complete"}}},
        Scenario{"StoppedAtTagFifteenIsNotGluedToTheNextReceipt",
                 then(fifteenPackets(A), {{A, QUERY, ""}, {A, 1, "N"}, {A, 2, "E"}, {A, END, ""}}),
                 {{"123456789abcdef", "incomplete"}, {"NE", "complete"}}},
        Scenario{"RestartCutsOffTheOpenJobAndWhatFollowsItsCut",
                 {{A, 1, "a"},
                  {A, 2, "b", false},
                  {A, RESTART, ""},
                  {A, 2, "b"},
                  {A, 3, "c"},
                  {A, END, ""},
                  {A, 1, "N"},
                  {A, END, ""}},
                 {{"ab", "incomplete"}, {"bc", "incomplete"}, {"N", "complete"}}},
        Scenario{"RestartGivesAnEndNotYetToldApartToTheJobHeardFromLast",
                 {{A, 1, "a"}, {A, 1, "b"}, {A, END, ""}, {A, RESTART, ""}},
                 {{"b", "interleaved"}, {"a", "incomplete, interleaved"}}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace vantoemu
