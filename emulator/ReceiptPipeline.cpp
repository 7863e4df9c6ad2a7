#include "emulator/ReceiptPipeline.hpp"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>

#include "emulator/PrinterInterpreter.hpp"

namespace vantoemu {

namespace {

std::filesystem::path receiptBase(const std::string& outDir, int number) {
    char name[32];
    std::snprintf(name, sizeof name, "receipt-%04d", number);
    return std::filesystem::path(outDir) / name;
}

std::span<const std::uint8_t> asBytes(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

}  // namespace

ReceiptPipeline::ReceiptPipeline(Options options, EventLog& log)
    : mOptions(std::move(options)), mLog(log), mWork(asio::make_work_guard(mIo)) {
    mThread = std::thread([this] { mIo.run(); });
}

ReceiptPipeline::~ReceiptPipeline() {
    mWork.reset();
    if (mThread.joinable()) {
        mThread.join();
    }
}

void ReceiptPipeline::print(PrintJob job, int number) {
    asio::post(mIo,
               [this, job = std::move(job), number]() mutable { finish(std::move(job), number); });
}

void ReceiptPipeline::drain() {
    if (mThread.get_id() == std::this_thread::get_id()) {
        return;
    }
    std::promise<void> drained;
    auto done = drained.get_future();
    asio::post(mIo, [&drained] { drained.set_value(); });
    done.wait();
}

void ReceiptPipeline::finish(PrintJob job, int number) {
    PrintedReceipt receipt;
    receipt.number = number;
    receipt.printedAt = std::chrono::system_clock::now();
    receipt.packets = job.packets;
    const PrinterDocument document = PrinterInterpreter::interpret(job.bytes);
    // Every receipt the library composes ends with its cut: a job that ends before one was cut
    // short by its sender (who gave up and still ended the job), however whole its tags look.
    // The printer's configuration page is a job without a cut of its own.
    const auto& elements = document.elements;
    const bool cut = !elements.empty() && std::holds_alternative<Cut>(elements.back());
    const bool configPage = std::any_of(elements.begin(), elements.end(), [](const auto& e) {
        return std::holds_alternative<ConfigPage>(e);
    });
    if (!cut && !configPage && !job.incomplete && !job.bytes.empty()) {
        job.markIncomplete("no cut: the job ended before its receipt's cut");
    }
    receipt.incomplete = job.incomplete;
    receipt.interleaved = job.interleaved;
    receipt.notes = std::move(job.notes);
    receipt.document = document;
    receipt.bytes = std::move(job.bytes);
    for (const auto& issue : receipt.document.issues) {
        mLog.record("printer_issue",
                    {{"receipt", number}, {"offset", issue.offset}, {"detail", issue.description}});
    }
    nlohmann::json fields = {{"receipt", number},
                             {"sender", job.sender},
                             {"marks", receipt.marks()},
                             {"notes", receipt.notes},
                             {"packets", receipt.packets},
                             {"elements", receipt.document.elements.size()},
                             {"issues", receipt.document.issues.size()}};
    try {
        if (mOptions.renderReceipts) {
            receipt.rendered = ReceiptRenderer::render(receipt.document);
        } else {
            receipt.rendered.text = ReceiptRenderer::textView(receipt.document);
        }
        // The paper itself cannot say it is incomplete; the text file says it below the paper,
        // where a reader comparing it with the PNG finds it.
        std::string text = receipt.rendered.text;
        text += "== receipt " + std::to_string(number) + ": " + receipt.marks();
        for (const auto& note : receipt.notes) {
            text += "; " + note;
        }
        text += '\n';
        writeFiles(receipt, text);
        fields["png"] = receipt.pngPath;
        fields["txt"] = receipt.textPath;
        fields["width"] = receipt.rendered.width;
        fields["height"] = receipt.rendered.height;
        fields["problems"] = receipt.rendered.problems;
        mLog.record("receipt", fields);
    } catch (const std::exception& e) {
        fields["error"] = e.what();
        mLog.record("render_error", fields);
    }
    if (mOptions.keep > 0 && number > static_cast<int>(mOptions.keep)) {
        forget(number - static_cast<int>(mOptions.keep));
    }
    {
        std::lock_guard lock(mMutex);
        mReceipts.push_back(std::move(receipt));
        const std::size_t inMemory =
            mOptions.keep > 0 ? std::min(mOptions.keep, RECEIPTS_IN_MEMORY) : RECEIPTS_IN_MEMORY;
        while (mReceipts.size() > inMemory) {
            mReceipts.pop_front();
        }
        if (mReceipts.size() > RECEIPTS_WITH_PIXELS) {
            auto& old = mReceipts[mReceipts.size() - RECEIPTS_WITH_PIXELS - 1].rendered;
            old.pixels = {};
            old.pixels.shrink_to_fit();
            old.png = {};
            old.png.shrink_to_fit();
        }
        ++mPrinted;
    }
    mChanged.notify_all();
}

void ReceiptPipeline::writeFiles(PrintedReceipt& receipt, const std::string& text) {
    if (mOptions.outDir.empty()) {
        return;
    }
    const auto base = receiptBase(mOptions.outDir, receipt.number);
    receipt.textPath = base.string() + ".txt";
    ReceiptRenderer::writeFile(receipt.textPath, asBytes(text));
    if (!receipt.rendered.png.empty()) {
        receipt.pngPath = base.string() + ".png";
        ReceiptRenderer::writeFile(receipt.pngPath, receipt.rendered.png);
    }
}

void ReceiptPipeline::forget(int number) {
    if (mOptions.outDir.empty()) {
        return;
    }
    const auto base = receiptBase(mOptions.outDir, number).string();
    std::error_code ignored;
    std::filesystem::remove(base + ".txt", ignored);
    std::filesystem::remove(base + ".png", ignored);
}

std::optional<std::vector<std::uint8_t>> PrintedReceipt::picture() const {
    if (!rendered.png.empty()) {
        return rendered.png;
    }
    if (pngPath.empty()) {
        return std::nullopt;
    }
    std::ifstream file(pngPath, std::ios::binary);
    std::vector<std::uint8_t> png{std::istreambuf_iterator<char>(file), {}};
    if (png.empty()) {
        return std::nullopt;
    }
    return png;
}

std::vector<PrintedReceipt> ReceiptPipeline::receipts() const {
    std::lock_guard lock(mMutex);
    return {mReceipts.begin(), mReceipts.end()};
}

namespace {
PrintedReceipt lightCopy(const PrintedReceipt& full, bool withPng) {
    PrintedReceipt copy;
    copy.number = full.number;
    copy.packets = full.packets;
    copy.incomplete = full.incomplete;
    copy.interleaved = full.interleaved;
    copy.notes = full.notes;
    copy.rendered.width = full.rendered.width;
    copy.rendered.height = full.rendered.height;
    copy.rendered.text = full.rendered.text;
    copy.rendered.problems = full.rendered.problems;
    if (withPng) {
        copy.rendered.png = full.rendered.png;
    }
    copy.pngPath = full.pngPath;
    copy.textPath = full.textPath;
    copy.printedAt = full.printedAt;
    return copy;
}
}  // namespace

std::vector<PrintedReceipt> ReceiptPipeline::records() const {
    std::lock_guard lock(mMutex);
    std::vector<PrintedReceipt> out;
    out.reserve(mReceipts.size());
    for (const auto& receipt : mReceipts) {
        out.push_back(lightCopy(receipt, false));
    }
    return out;
}

std::optional<PrintedReceipt> ReceiptPipeline::receipt(int number) const {
    std::lock_guard lock(mMutex);
    for (const auto& receipt : mReceipts) {
        if (receipt.number == number) {
            return lightCopy(receipt, true);
        }
    }
    return std::nullopt;
}

std::uint64_t ReceiptPipeline::printed() const {
    std::lock_guard lock(mMutex);
    return mPrinted;
}

bool ReceiptPipeline::waitForReceipts(std::size_t count, std::chrono::milliseconds timeout) const {
    // A deadline past a century is no deadline; a longer one would overflow the clock's count.
    constexpr std::chrono::milliseconds FOR_EVER = std::chrono::hours(24 * 365 * 100);
    if (timeout.count() < 0 || timeout > FOR_EVER) {
        timeout = FOR_EVER;
    }
    std::unique_lock lock(mMutex);
    return mChanged.wait_for(lock, timeout, [&] { return mPrinted >= count; });
}

}  // namespace vantoemu
