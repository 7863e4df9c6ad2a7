#include "emulator/PrintJobCollector.hpp"

#include <algorithm>

namespace vantoemu {

namespace {

// The printer's own configuration-page command: the library sends it with the next tag in
// sequence instead of tag 1, so a job made of it alone has lost nothing.
bool isConfigPage(std::span<const std::uint8_t> content) {
    return content.size() == 2 && content[0] == 0x1F && content[1] == 0x74;
}

bool same(std::span<const std::uint8_t> a, const std::vector<std::uint8_t>& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin());
}

}  // namespace

PrintJobCollector::PrintJobCollector(std::chrono::milliseconds idleGap) : mIdleGap(idleGap) {}

PrintJobCollector::Accepted PrintJobCollector::data(const std::string& senderAddress,
                                                    std::uint8_t tag,
                                                    std::span<const std::uint8_t> content,
                                                    Clock::time_point now) {
    Sender& sender = mOpen[senderAddress];
    auto& jobs = sender.jobs;
    Accepted result;
    for (auto& job : jobs) {
        if (job.lastTag == tag && !job.lastReadable && same(content, job.lastPacket)) {
            // The sender could not read our acknowledgement and sends the packet again; the
            // paper must not show it twice.
            job.lastActivity = now;
            job.lastReadable = true;
            result.outcome = Outcome::Resent;
            result.job = job.id;
            return result;
        }
    }

    // Of the open jobs waiting for exactly this tag, one still being sent takes it before one
    // that fell silent when another began; among those, the one that waited longest, so that
    // with two senders in step it alternates between them, which is the best the tags can tell.
    auto stale = [&jobs](const Open& job) {
        return std::any_of(jobs.begin(), jobs.end(),
                           [&job](const Open& other) { return job.lastSeq < other.firstSeq; });
    };
    Open* next = nullptr;
    for (auto& job : jobs) {
        if (nextTag(job.lastTag) != tag || (tag == 1 && job.lastSeq < sender.querySeq)) {
            continue;
        }
        if (next == nullptr || stale(*next) > stale(job) ||
            (stale(*next) == stale(job) && job.lastSeq < next->lastSeq)) {
            next = &job;
        }
    }
    bool secondSender = false;
    if (next == nullptr) {
        // The same tag again after an acknowledgement the sender could read: no resend, so
        // another sender is working through its own job.
        secondSender = std::any_of(jobs.begin(), jobs.end(), [&](const Open& job) {
            return job.lastTag == tag && job.lastReadable;
        });
    }
    if (next == nullptr && (tag == 1 || secondSender)) {
        next = &open(jobs, senderAddress, now);
        if (tag != 1) {
            next->job.markIncomplete("its first packet carries tag " + std::to_string(tag) +
                                     ": the start of the job never arrived");
        }
    } else if (next == nullptr) {
        // A skipped tag: the job it continues with the fewest tags missing lost the packets
        // between. With no such job, the start of this one never came.
        auto skipped = [tag](const Open& job) { return (tag - job.lastTag + LAST_TAG) % LAST_TAG; };
        for (auto& job : jobs) {
            if (skipped(job) > 1 && (next == nullptr || skipped(job) < skipped(*next))) {
                next = &job;
            }
        }
        if (next != nullptr) {
            result.note = "packets missing between tag " + std::to_string(next->lastTag) +
                          " and tag " + std::to_string(tag);
            next->job.markIncomplete(result.note);
        } else {
            next = &open(jobs, senderAddress, now);
            if (!isConfigPage(content)) {
                result.note = "a job starting at tag " + std::to_string(tag);
                next->job.markIncomplete("its first packet carries tag " + std::to_string(tag) +
                                         ": the start of the job never arrived");
            }
        }
    }
    append(*next, tag, content, now);
    result.job = next->id;
    if (secondSender) {
        result.note = "tag " + std::to_string(tag) +
                      " again after it was acknowledged: a second sender at this address";
        for (auto& job : jobs) {
            if (job.lastTag == tag) {
                job.job.markInterleaved("another sender at " + senderAddress +
                                        " sent the same tags while it was open");
            }
        }
    }
    resolveEnds(sender, result.finished);
    if (jobs.empty() && sender.ends.empty()) {
        mOpen.erase(senderAddress);
    }
    return result;
}

PrintJobCollector::Open& PrintJobCollector::open(std::vector<Open>& jobs, const std::string& sender,
                                                 Clock::time_point now) {
    Open job;
    job.id = ++mNextId;
    job.job.sender = sender;
    job.firstSeq = mSeq + 1;
    job.lastActivity = now;
    jobs.push_back(std::move(job));
    return jobs.back();
}

void PrintJobCollector::append(Open& job, std::uint8_t tag, std::span<const std::uint8_t> content,
                               Clock::time_point now) {
    job.job.bytes.insert(job.job.bytes.end(), content.begin(), content.end());
    ++job.job.packets;
    job.lastTag = tag;
    job.lastPacket.assign(content.begin(), content.end());
    job.lastReadable = true;
    job.lastSeq = ++mSeq;
    job.lastActivity = now;
}

void PrintJobCollector::answered(std::uint64_t id, bool readableAcknowledgement) {
    for (auto& [address, sender] : mOpen) {
        for (auto& job : sender.jobs) {
            if (job.id == id) {
                job.lastReadable = readableAcknowledgement;
                return;
            }
        }
    }
}

void PrintJobCollector::markOverlaps(std::vector<Open>& jobs, Open& job) {
    for (auto& other : jobs) {
        if (other.id != job.id && other.firstSeq <= job.lastSeq && other.lastSeq >= job.firstSeq) {
            other.job.markInterleaved("packets of another job from " + other.job.sender +
                                      " arrived while it was open");
            job.job.markInterleaved("packets of another job from " + job.job.sender +
                                    " arrived while it was open");
        }
    }
}

void PrintJobCollector::finish(Sender& sender, std::uint64_t id, std::vector<PrintJob>& finished) {
    auto& jobs = sender.jobs;
    auto it =
        std::find_if(jobs.begin(), jobs.end(), [id](const Open& job) { return job.id == id; });
    if (it == jobs.end()) {
        return;
    }
    markOverlaps(jobs, *it);
    finished.push_back(std::move(it->job));
    jobs.erase(it);
}

void PrintJobCollector::resolveEnds(Sender& sender, std::vector<PrintJob>& finished) {
    while (!sender.ends.empty()) {
        // The jobs that got nothing since the oldest waiting end: one of them is the one that
        // ended. When there are no more of them than ends waiting, they all ended.
        const std::uint64_t endSeq = sender.ends.front().seq;
        std::vector<const Open*> quiet;
        for (const auto& job : sender.jobs) {
            if (job.lastSeq < endSeq) {
                quiet.push_back(&job);
            }
        }
        if (quiet.size() > sender.ends.size()) {
            return;
        }
        std::sort(quiet.begin(), quiet.end(),
                  [](const Open* a, const Open* b) { return a->firstSeq < b->firstSeq; });
        std::vector<std::uint64_t> ids;
        for (const Open* job : quiet) {
            ids.push_back(job->id);
        }
        for (std::uint64_t id : ids) {
            finish(sender, id, finished);
        }
        // An end that no quiet job is left for came after packets that moved on; it is
        // dropped and the job it belonged to will be cut off by its gap.
        sender.ends.erase(sender.ends.begin(),
                          sender.ends.begin() +
                              static_cast<std::ptrdiff_t>(std::max<std::size_t>(ids.size(), 1)));
    }
}

std::vector<PrintJob> PrintJobCollector::endOfJob(const std::string& address,
                                                  Clock::time_point now) {
    std::vector<PrintJob> finished;
    auto found = mOpen.find(address);
    if (found == mOpen.end() || found->second.jobs.empty()) {
        PrintJob empty;
        empty.sender = address;
        empty.markIncomplete("the end of the job came with no data before it");
        finished.push_back(std::move(empty));
        return finished;
    }
    Sender& sender = found->second;
    auto& jobs = sender.jobs;
    // A job that fell silent before another open job began was cut off: it goes to paper on
    // its own, as it stands, before anything else. One known to share the address with another
    // sender may only be waiting its turn; silence alone will tell.
    std::vector<std::uint64_t> cutOff;
    for (const auto& job : jobs) {
        if (job.job.interleaved) {
            continue;
        }
        for (const auto& other : jobs) {
            if (other.id != job.id && job.lastSeq < other.firstSeq) {
                cutOff.push_back(job.id);
                break;
            }
        }
    }
    for (std::uint64_t id : cutOff) {
        auto it =
            std::find_if(jobs.begin(), jobs.end(), [id](const Open& job) { return job.id == id; });
        it->job.markIncomplete("cut off: the next job began before this one ended");
        finish(sender, id, finished);
    }
    sender.ends.push_back({++mSeq, now});
    resolveEnds(sender, finished);
    if (jobs.empty() && sender.ends.empty()) {
        mOpen.erase(found);
    }
    return finished;
}

std::vector<PrintJob> PrintJobCollector::expire(Clock::time_point now) {
    std::vector<PrintJob> finished;
    for (auto it = mOpen.begin(); it != mOpen.end();) {
        Sender& sender = it->second;
        auto& jobs = sender.jobs;
        // An end still not told apart goes to the job that heard from its sender last, since
        // the library sends the end right after a job's last packet.
        while (!sender.ends.empty() && now - sender.ends.front().at > END_WAIT) {
            settleOldestEnd(sender, finished);
        }
        std::vector<std::uint64_t> silent;
        for (const auto& job : jobs) {
            if (now - job.lastActivity > mIdleGap) {
                silent.push_back(job.id);
            }
        }
        for (std::uint64_t id : silent) {
            auto job = std::find_if(jobs.begin(), jobs.end(),
                                    [id](const Open& open) { return open.id == id; });
            job->job.markIncomplete(
                "cut off: nothing more came for " +
                std::to_string(std::chrono::duration_cast<std::chrono::seconds>(mIdleGap).count()) +
                " s and the end of the job never arrived");
            finish(sender, id, finished);
        }
        it = jobs.empty() && sender.ends.empty() ? mOpen.erase(it) : std::next(it);
    }
    return finished;
}

void PrintJobCollector::settleOldestEnd(Sender& sender, std::vector<PrintJob>& finished) {
    const std::uint64_t endSeq = sender.ends.front().seq;
    const Open* latest = nullptr;
    for (const auto& job : sender.jobs) {
        if (job.lastSeq < endSeq && (latest == nullptr || job.lastSeq > latest->lastSeq)) {
            latest = &job;
        }
    }
    sender.ends.erase(sender.ends.begin());
    if (latest != nullptr) {
        finish(sender, latest->id, finished);
    }
    resolveEnds(sender, finished);
}

void PrintJobCollector::statusQuery(const std::string& address) {
    auto found = mOpen.find(address);
    if (found != mOpen.end() && !found->second.jobs.empty()) {
        found->second.querySeq = ++mSeq;
    }
}

std::vector<PrintJob> PrintJobCollector::restart() {
    return cutOff("cut off: the unit restarted before the end of the job came");
}

std::vector<PrintJob> PrintJobCollector::cutOff(const std::string& why) {
    std::vector<PrintJob> finished;
    std::vector<std::pair<std::uint64_t, PrintJob>> cutOff;
    for (auto& [address, sender] : mOpen) {
        while (!sender.ends.empty()) {
            settleOldestEnd(sender, finished);
        }
        for (auto& open : sender.jobs) {
            markOverlaps(sender.jobs, open);
        }
        for (auto& open : sender.jobs) {
            open.job.markIncomplete(why);
            cutOff.emplace_back(open.firstSeq, std::move(open.job));
        }
    }
    mOpen.clear();
    std::sort(cutOff.begin(), cutOff.end(),
              [](const auto& a, const auto& b) { return a.first < b.first; });
    for (auto& [seq, job] : cutOff) {
        finished.push_back(std::move(job));
    }
    return finished;
}

std::size_t PrintJobCollector::pendingBytes() const {
    std::size_t total = 0;
    for (const auto& [address, sender] : mOpen) {
        for (const auto& job : sender.jobs) {
            total += job.job.bytes.size();
        }
    }
    return total;
}

}  // namespace vantoemu
