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

const std::string A = "10.0.0.5";
const std::string B = "10.0.0.6";

// One thing happening: a data packet (tag 1..15), or one of the above.
struct Step {
    int tag;
    std::string content = {};
    bool readable = true;  // the acknowledgement reached the sender intact
    std::string sender = A;
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

// A job's first fifteen packets, tags 1 to 15, carrying "1" to "9" and "a" to "f".
std::vector<Step> fifteenPackets() {
    std::vector<Step> steps;
    for (int tag = 1; tag <= 15; ++tag) {
        steps.push_back({tag, std::string(1, "0123456789abcdef"[tag])});
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
                 {{1, "a", false}, {1, "a"}, {2, "b"}, {END}},
                 {{"ab", "complete"}}},
        Scenario{"TagsWrapAfterFifteen",
                 then(fifteenPackets(), {{1, "g"}, {END}}),
                 {{"123456789abcdefg", "complete"}}},
        Scenario{"SkippedTagMeansIncomplete",
                 {{1, "a"}, {2, "b"}, {4, "d"}, {END}},
                 {{"abd", "incomplete"}}},
        Scenario{"CutOffJobIsNotGluedToTheNext",
                 {{1, "x"}, {2, "y"}, {1, "N"}, {2, "E"}, {3, "W"}, {END}},
                 {{"xy", "incomplete"}, {"NEW", "complete"}}},
        Scenario{"SilentSenderIsCutOffAfterTheGap", {{1, "a"}, {2, "b"}}, {{"ab", "incomplete"}}},
        Scenario{"TwoIdenticalReceiptsInStepComeOutWholeAndMarked",
                 {{1, "p"}, {1, "p"}, {2, "q"}, {2, "q"}, {3, "r"}, {3, "r"}, {END}, {END}},
                 {{"pqr", "interleaved"}, {"pqr", "interleaved"}}},
        Scenario{"SecondSenderStartingLaterIsMarkedNotCut",
                 {{1, "a"}, {2, "b"}, {1, "X"}, {3, "c"}, {2, "Y"}, {END}, {3, "Z"}, {END}},
                 {{"abc", "interleaved"}, {"XYZ", "interleaved"}}},
        Scenario{"AnEndNeverToldApartGoesToTheJobHeardFromLast",
                 {{1, "a"}, {1, "b"}, {END}},
                 {{"b", "interleaved"}, {"a", "incomplete, interleaved"}}},
        Scenario{
            "SendersAtTwoAddressesNeverMix",
            {{1, "a"}, {1, "x", true, B}, {2, "b"}, {2, "y", true, B}, {END, "", true, B}, {END}},
            {{"xy", "complete"}, {"ab", "complete"}}},
        Scenario{"EndWithNothingBeforeItIsAnEmptyIncompleteJob", {{END}}, {{"", "incomplete"}}},
        Scenario{"ConfigPageContinuesTheTagsWithoutLosingAnything",
                 {{4, "\x1F\x74"}, {END}},
                 {{"\x1F\x74", "complete"}}},
        Scenario{"JobStartingPastTagOneLostItsStart",
                 {{4, "d"}, {5, "e"}, {END}},
                 {{"de", "incomplete"}}},
        // A client that stops mid-receipt and starts the next one.
        Scenario{"AnswerLostAndNotResentThenTheNextReceipt",
                 {{1, "a"}, {2, "b", false}, {QUERY}, {1, "N"}, {END}},
                 {{"ab", "incomplete"}, {"N", "complete"}}},
        Scenario{"StoppedAtTagFifteenIsNotGluedToTheNextReceipt",
                 then(fifteenPackets(), {{QUERY}, {1, "N"}, {2, "E"}, {END}}),
                 {{"123456789abcdef", "incomplete"}, {"NE", "complete"}}},
        Scenario{"RestartCutsOffTheOpenJobAndWhatFollowsItsCut",
                 {{1, "a"}, {2, "b", false}, {RESTART}, {2, "b"}, {3, "c"}, {END}, {1, "N"}, {END}},
                 {{"ab", "incomplete"}, {"bc", "incomplete"}, {"N", "complete"}}},
        Scenario{"RestartGivesAnEndNotYetToldApartToTheJobHeardFromLast",
                 {{1, "a"}, {1, "b"}, {END}, {RESTART}},
                 {{"b", "interleaved"}, {"a", "incomplete, interleaved"}}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace vantoemu
