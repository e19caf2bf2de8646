#include "Corvane/baseband/simulated/CoreDump.h"

#include <elf.h>

#include <cstdint>

namespace corvane::simulated {
namespace {

constexpr std::uint32_t kMemoryBegin = 0x80000000;
constexpr std::size_t kCommandLine = 80;
constexpr std::uint32_t kReasonNote = 0x52454153;

/// Appends numbers with the lowest byte first, whatever this machine does.
class Writer {
public:
    Writer& u16(std::uint32_t value) {
        bytes_ += static_cast<char>(value);
        bytes_ += static_cast<char>(value >> 8);
        return *this;
    }
    Writer& u32(std::uint32_t value) { return u16(value).u16(value >> 16); }
    Writer& zeros(std::size_t count) {
        bytes_.append(count, '\0');
        return *this;
    }
    /// Filled up with zeros and ended by one.
    Writer& field(std::string_view text, std::size_t size) {
        const std::string_view fitting = text.substr(0, size - 1);
        bytes_ += fitting;
        return zeros(size - fitting.size());
    }
    Writer& note(std::string_view name, std::uint32_t type, std::string_view content) {
        u32(static_cast<std::uint32_t>(name.size() + 1)).u32(static_cast<std::uint32_t>(content.size())).u32(type);
        bytes_.append(name).append(4 - name.size() % 4, '\0').append(content);
        return zeros((4 - content.size() % 4) % 4);
    }
    Writer& segment(std::uint32_t type, std::size_t offset, std::uint32_t address, std::size_t size) {
        const auto length = static_cast<std::uint32_t>(size);
        return u32(type).u32(static_cast<std::uint32_t>(offset)).u32(address).u32(0).u32(length).u32(length).u32(PF_R).u32(4);
    }
    std::string bytes_;
};

/// `struct elf_prpsinfo` of 32-bit ARM Linux.
std::string processInfo(std::string_view reason) {
    return Writer().zeros(28).field("baseband", 16).field(reason, kCommandLine).bytes_;
}

}  // namespace

std::string coreDump(std::string_view reason, std::string_view memory) {
    constexpr std::size_t kHeaders = sizeof(Elf32_Ehdr) + 2 * sizeof(Elf32_Phdr);
    const std::string notes = Writer().note("CORE", NT_PRPSINFO, processInfo(reason)).note("Corvane", kReasonNote, reason).bytes_;
    Writer out;
    out.bytes_.assign({ELFMAG0, 'E', 'L', 'F', ELFCLASS32, ELFDATA2LSB, EV_CURRENT, ELFOSABI_NONE}).append(8, '\0');
    out.u16(ET_CORE).u16(EM_ARM).u32(EV_CURRENT).u32(0).u32(sizeof(Elf32_Ehdr)).u32(0).u32(EF_ARM_EABI_VER5);
    out.u16(sizeof(Elf32_Ehdr)).u16(sizeof(Elf32_Phdr)).u16(2).u16(0).u16(0).u16(0);
    out.segment(PT_NOTE, kHeaders, 0, notes.size());
    out.segment(PT_LOAD, kHeaders + notes.size(), kMemoryBegin, memory.size());
    return out.bytes_.append(notes).append(memory);
}

}  // namespace corvane::simulated
