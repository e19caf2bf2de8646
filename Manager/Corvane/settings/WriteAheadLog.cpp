#include "Corvane/settings/WriteAheadLog.h"

#include "Platform/FileDescriptor.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <bit>
#include <cstdint>
#include <span>
#include <vector>

namespace corvane {

namespace {

/// The layout is SQLite's (https://sqlite.org/fileformat2.html section 4): a header, then frames of a header and a page. Numbers
/// are big-endian, and each checksum goes on from the one before.
constexpr std::size_t kHeaderSize = 32;
constexpr std::size_t kFrameHeaderSize = 24;
constexpr std::uint32_t kMagic = 0x377F0682;
constexpr std::uint32_t kBigEndianSums = 1;  // the lowest bit of the magic number
constexpr std::uint32_t kSmallestPage = 512;
constexpr std::uint32_t kLargestPage = 65536;
constexpr std::uint32_t kUsualPage = 1024;
constexpr std::size_t kDatabasePageSize = 16;  // where the database's own header has it (section 1.3 there), in two bytes

using Bytes = std::span<const unsigned char>;

std::uint32_t wordAt(Bytes bytes, std::size_t offset) {
    return std::uint32_t{bytes[offset]} << 24U | std::uint32_t{bytes[offset + 1]} << 16U |
           std::uint32_t{bytes[offset + 2]} << 8U | bytes[offset + 3];
}

/// Two running sums over pairs of words.
class Checksum {
public:
    explicit Checksum(bool isBigEndian) : isBigEndian_(isBigEndian) {}

    void add(Bytes bytes) {
        for (std::size_t offset = 0; offset + 8 <= bytes.size(); offset += 8) {
            first_ += word(bytes, offset) + second_;
            second_ += word(bytes, offset + 4) + first_;
        }
    }
    bool isAt(Bytes bytes, std::size_t offset) const {
        return wordAt(bytes, offset) == first_ && wordAt(bytes, offset + 4) == second_;
    }

private:
    std::uint32_t word(Bytes bytes, std::size_t offset) const {
        const std::uint32_t big = wordAt(bytes, offset);
        return isBigEndian_ ? big : __builtin_bswap32(big);
    }

    bool isBigEndian_;
    std::uint32_t first_ = 0;
    std::uint32_t second_ = 0;
};

platform::FileDescriptor openToRead(const std::string& path) {
    return platform::FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

/// Fills `bytes` with what comes next in the file. @return false when less is left.
bool read(const platform::FileDescriptor& file, std::span<unsigned char> bytes) {
    return ::read(file.get(), bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
}

bool isPageSize(std::uint32_t size) {
    return std::has_single_bit(size) && size >= kSmallestPage && size <= kLargestPage;
}

/// The size of the database's pages by its own header, for a log whose header doesn't tell it.
std::uint32_t pageSizeOf(const std::filesystem::path& database) {
    const auto file = openToRead(database);
    std::array<unsigned char, kDatabasePageSize + 2> header{};
    read(file, header);
    const std::uint32_t stored = header[kDatabasePageSize] * 256U + header[kDatabasePageSize + 1];
    const std::uint32_t size = stored == 1 ? kLargestPage : stored;  // which two bytes can't hold
    return isPageSize(size) ? size : kUsualPage;
}

/// How many of the frame's two salts are the header's: both, when it was written since the file was last begun anew.
int saltsOf(Bytes frame, Bytes header) {
    return (wordAt(frame, 8) == wordAt(header, 16) ? 1 : 0) + (wordAt(frame, 12) == wordAt(header, 20) ? 1 : 0);
}

}  // namespace

DroppedPages findDroppedPages(const std::filesystem::path& database) {
    const auto file = openToRead(database.string() + "-wal");
    std::array<unsigned char, kHeaderSize> header{};
    if (!read(file, header)) {
        return {};
    }
    const std::uint32_t magic = wordAt(header, 0);
    const std::uint32_t pageSize = wordAt(header, 8);
    Checksum sum((magic & kBigEndianSums) != 0);
    sum.add(Bytes(header).first(24));
    bool isWhole = sum.isAt(header, 24) && (magic & ~kBigEndianSums) == kMagic && isPageSize(pageSize);

    DroppedPages dropped;
    // A damaged header hides its frames; only their number can be told.
    std::vector<unsigned char> frame(kFrameHeaderSize + (isPageSize(pageSize) ? pageSize : pageSizeOf(database)));
    const bool headerIsWhole = isWhole;
    while (read(file, frame)) {
        const int salts = saltsOf(frame, header);
        if (headerIsWhole && salts == 0) {
            continue;  // left over from an earlier use of the file, which ends here
        }
        sum.add(Bytes(frame).first(8));
        sum.add(Bytes(frame).subspan(kFrameHeaderSize));
        isWhole = isWhole && salts == 2 && sum.isAt(frame, 16);
        if (!isWhole) {
            ++dropped.pages;
            dropped.changes += wordAt(frame, 4) != 0 ? 1U : 0U;  // a change's last frame tells the size of the database
        }
    }
    return dropped;
}

}  // namespace corvane
