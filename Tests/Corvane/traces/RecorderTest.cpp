#include "Corvane/traces/Recorder.h"

#include "Corvane/baseband/simulated/CoreDump.h"
#include "support/Test.h"

namespace corvane {
namespace {

namespace fs = std::filesystem;

constexpr std::uint64_t kMegabyte = 1048576;

struct RecorderTest : testing::Test {
    std::string record(std::size_t size = 200) { return std::string(size, 'x'); }
    TraceTime at(int seconds) { return TraceTime(std::chrono::seconds(1'000'000 + seconds)); }
    std::vector<fs::path> segments() const {
        std::set<fs::path> found;
        std::error_code none;
        for (const auto& entry : fs::directory_iterator(scratch_, none)) {
            found.insert(entry.path());
        }
        return {found.begin(), found.end()};
    }
    std::string content(std::size_t segment = 0) const { return support::readFile(segments().at(segment)); }

    support::TempFolder folder_;
    const fs::path scratch_ = folder_.path() / "state" / "X.scratch";
};

/// Wherever a kill cuts a file off, what is left are the whole records before, and the recording goes on in a file of its own.
TEST_F(RecorderTest, CutsATornTail) {
    for (const SegmentFormat* format : {&kPcapng, &kTextLines, &kMeasurements, &kCoreDumps}) {
        SCOPED_TRACE(format->extension);
        std::vector<std::string> records{record(20), record(21)};
        if (format == &kCoreDumps) {
            records = {simulated::coreDump("why", "memory")};
        }
        std::vector<std::size_t> ends{format->header.size()};
        {
            Recorder recorder(scratch_, *format, {kMegabyte});
            for (const std::string& one : records) {
                recorder.append(at(0), one);
                recorder.flush();
                ends.push_back(content().size());
            }
        }
        const std::string whole = content();
        for (std::size_t cut = 0; cut <= whole.size(); ++cut) {
            support::writeFile(scratch_ / ("00000001" + std::string(format->extension)), whole.substr(0, cut));
            Recorder recorder(scratch_, *format, {kMegabyte});
            const auto end = std::upper_bound(ends.begin(), ends.end(), cut);
            const std::size_t kept = end == ends.begin() ? 0 : *(end - 1);
            ASSERT_EQ(segments().empty() ? 0 : content().size(), kept) << "cut at " << cut;
        }
        fs::remove_all(scratch_);
    }
}

/// By the option epb_dropcount of the packet behind them.
TEST(PcapngTest, CountsThePacketsThatAreLost) {
    struct {
        std::uint16_t code = 4, length = 8;
        std::uint32_t count[2]{};
    } option;
    const std::uint64_t count = 9;
    std::memcpy(option.count, &count, sizeof count);
    const std::string dropped(reinterpret_cast<const char*>(&option), sizeof option);
    EXPECT_EQ(kPcapng.header.substr(38, 6), std::string(6, '\0')) << "reserved, and no limit of a packet's length";
    for (const std::uint64_t lost : {0U, 9U}) {
        std::string packet;
        kPcapng.append(packet, {}, "packet", lost);
        EXPECT_EQ(packet.find(dropped) != std::string::npos, lost == 9);
    }
}

TEST_F(RecorderTest, KeepsTheNewestWithinItsLimits) {
    Recorder recorder(scratch_, kTextLines, {kMegabyte});
    for (int count = 0; count < 20'000; ++count) {
        recorder.append(at(count), record());
    }
    recorder.flush();
    const auto total = [&] {
        std::uint64_t bytes = 0;
        for (const fs::path& segment : segments()) {
            bytes += fs::file_size(segment);
        }
        return bytes;
    };
    EXPECT_LE(total(), kMegabyte);
    EXPECT_GT(total(), kMegabyte * 8 / 10);
    EXPECT_GE(segments().size(), 14U);
    EXPECT_THAT(content(segments().size() - 1), testing::HasSubstr("1970-01-12T19:19:59.000Z xxx"));
    recorder.setLimits({kMegabyte, 3});
    EXPECT_EQ(segments().size(), 3U);
    for (int count = 0; count < 20'000; ++count) {
        recorder.append(at(20'000 + count), record());
        ASSERT_TRUE(count % 100 != 0 || segments().size() == 3);
    }
    EXPECT_LE(total(), kMegabyte);
}

TEST_F(RecorderTest, BeginsAnotherFileWhenTheClockGoesBack) {
    Recorder recorder(scratch_, kTextLines, {2 * kMegabyte});
    constexpr std::size_t kHalf = kMegabyte / 16;  // of a file, written at once; the second one begins the next file
    for (const auto& [second, size] : {std::pair{5, 1UL}, {6, 1}, {6, 1}, {3, 1}, {4, 1}, {7, kHalf}, {8, kHalf}, {2, 1}}) {
        recorder.append(at(second), record(size));
    }
    recorder.flush();
    EXPECT_THAT(content(0), testing::MatchesRegex("[^\n]*:45.000Z x\n[^\n]*:46.000Z x\n[^\n]*:46.000Z x\n"));
    EXPECT_THAT(content(1) + content(3),
                testing::MatchesRegex("[^\n]*:43.000Z x\n[^\n]*:44.000Z x\n[^\n]*:47.000Z x*\n[^\n]*:42.000Z x\n"));
}

/// A file that may not grow stands for a full disk.
TEST_F(RecorderTest, SurvivesAFullDiskAndCountsWhatIsLost) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    Recorder recorder(scratch_, kTextLines, {kMegabyte});
    const auto writeAll = [&](int count) {
        for (int index = 0; index < count; ++index) {
            recorder.append(at(0), record());
            recorder.flush();
        }
    };
    writeAll(10);
    const std::uint64_t whole = fs::file_size(segments()[0]);
    const rlimit full{whole + 300, before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &full);
    testing::internal::CaptureStderr();
    writeAll(10);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                testing::EndsWith("can't write " + segments()[0].string() +
                                  ": No space left on device; its records are lost until there is room\n"));
    EXPECT_TRUE(recorder.isFailing());
    EXPECT_EQ(fs::file_size(segments()[0]), whole + whole / 10);  // one fits, and no part of another
    Recorder other(folder_.path() / "other", kTextLines, {kMegabyte});
    for (const std::size_t size : {whole + 300, std::uint64_t{1}}) {  // the first doesn't fit into a file of its own
        other.append(at(0), record(size));
        other.flush();
        EXPECT_EQ(fs::is_empty(folder_.path() / "other"), size > 1);
    }
    setrlimit(RLIMIT_FSIZE, &before);
    writeAll(1);
    EXPECT_FALSE(recorder.isFailing());
    EXPECT_THAT(content(), testing::HasSubstr("Z 9 lines are lost\n"));
}

TEST_F(RecorderTest, LinksItsFilesAndLeavesThemAlone) {
    Recorder(scratch_, kTextLines, {kMegabyte}).append(at(0), "first");
    fs::rename(scratch_ / "00000001.txt", scratch_ / "00000019.txt");
    Recorder recorder(scratch_, kTextLines, {1});  // a setting allows more before the next record
    recorder.setLimits({kMegabyte});
    const fs::path taken = folder_.path() / "taken";
    EXPECT_TRUE(recorder.link(taken));
    recorder.append(at(1), "second\n\x7f");
    recorder.flush();
    EXPECT_EQ(segments().size(), 2U);
    EXPECT_EQ(fs::hard_link_count(segments()[0]), 2U);
    EXPECT_THAT(support::readFile(taken / "00000019.txt"), testing::EndsWith("Z first\n"));
    EXPECT_EQ(segments()[1].filename(), "00000020.txt");
    recorder.removeLinked();
    ASSERT_EQ(segments().size(), 1U);
    recorder.append(at(2), "third");
    recorder.flush();
    EXPECT_THAT(content(), testing::EndsWith("Z third\n")) << "of what has been recorded since, nothing is lost";
    EXPECT_THAT(content(), testing::HasSubstr("Z second\\x0a\\x7f\n"));
    EXPECT_EQ(recorder.bytes(), content().size());
}

}  // namespace
}  // namespace corvane
