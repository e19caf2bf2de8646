#include "Corvane/traces/SegmentFormat.h"

#include <elf.h>

#include <algorithm>
#include <cstddef>

namespace corvane {

namespace {

/// A number at `at`, the lowest byte first.
std::uint64_t numberAt(std::string_view bytes, std::size_t at, std::size_t size) {
    std::uint64_t value = 0;
    for (std::size_t index = size; index > 0; --index) {
        value = value << 8 | static_cast<unsigned char>(bytes[at + index - 1]);
    }
    return value;
}

void appendDump(std::string& out, TraceTime, std::string_view record, std::uint64_t) {
    out += record;
}

/// Up to the end of the last segment of an ELF file of 32 bits; a dump is whole or nothing.
std::size_t wholeDump(std::string_view file) {
    if (file.size() < sizeof(Elf32_Ehdr) || !file.starts_with(ELFMAG)) {
        return 0;
    }
    const std::uint64_t headers = numberAt(file, offsetof(Elf32_Ehdr, e_phoff), 4);
    const std::uint64_t count = numberAt(file, offsetof(Elf32_Ehdr, e_phnum), 2);
    std::uint64_t end = headers + count * sizeof(Elf32_Phdr);
    for (std::uint64_t index = 0; end <= file.size() && index < count; ++index) {
        const auto header = static_cast<std::size_t>(headers + index * sizeof(Elf32_Phdr));
        end = std::max(end, numberAt(file, header + offsetof(Elf32_Phdr, p_offset), 4) +
                                numberAt(file, header + offsetof(Elf32_Phdr, p_filesz), 4));
    }
    return end <= file.size() ? static_cast<std::size_t>(end) : 0;
}

}  // namespace

const SegmentFormat kCoreDumps{".core", "", appendDump, wholeDump, true};

}  // namespace corvane
