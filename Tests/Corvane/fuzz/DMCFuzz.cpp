#include "Corvane/support/Text.h"
#include "Corvane/traces/DMCFiles.h"
#include "support/Standard.h"

/// A file selects groups that there are, or is refused in one printable line.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const support::TempFolder folder;
    support::writeFile(folder / "mine.json", std::string(reinterpret_cast<const char*>(data), size));
    const auto groups = corvane::readDMCFile(folder.path(), "mine");
    if (!groups && !corvane::isPrintable(groups.refusal().sentence)) {
        std::abort();
    }
    return 0;
}
