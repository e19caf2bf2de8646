#include "Corvane/settings/SettingsStore.h"
#include "Corvane/support/Log.h"
#include "support/Standard.h"

namespace {

namespace fs = std::filesystem;
using corvane::SettingsStore;

/// A sound database, with its log as a killed manager leaves it, that each input damages.
struct Sound {
    Sound() {
        corvane::log::setLevel(corvane::log::Level{0});
        auto store = std::move(*SettingsStore::open(folder_.path()));
        for (const char* value : {"1", "2", "3"}) {
            if (!store->store("trace", "DIAG/History", value)) {
                std::abort();
            }
        }
        database_ = support::readFile(folder_ / "settings.db");
        log_ = support::readFile(folder_ / "settings.db-wal");
    }

    /// @param data changes of three bytes each: where, in two bytes, and what is flipped there. The highest bit of the place
    /// chooses the log; what is flipped nowhere cuts the file there.
    void damage(const std::uint8_t* data, std::size_t size) {
        std::string database = database_;
        std::string log = log_;
        for (; size >= 3; data += 3, size -= 3) {
            std::string& content = (data[0] & 0x80U) != 0 ? log : database;
            const std::size_t place = std::size_t{data[0] & 0x7FU} << 8U | data[1];
            if (data[2] == 0) {
                content.resize(std::min(content.size(), place));
            } else if (place < content.size()) {
                content[place] = static_cast<char>(content[place] ^ data[2]);
            }
        }
        for (const auto& entry : fs::directory_iterator(folder_.path())) {
            fs::remove_all(entry);
        }
        support::writeFile(folder_ / "settings.db", database);
        support::writeFile(folder_ / "settings.db-wal", log);
    }

    /// Whatever the damage was: the store opens, takes a text, and has it when it is opened again. A later version, which takes
    /// more than one change, is left as it is.
    void check() const {
        for (const bool first : {true, false}) {
            auto store = SettingsStore::open(folder_.path());
            if (!store && store.refusal().sentence.find("of version") != std::string::npos) {
                return;
            }
            if (!store ||
                (first ? !(*store)->store("trace", "DIAG/History", "17") : (*store)->get("trace", "DIAG/History") != "17")) {
                std::abort();
            }
        }
    }

private:
    support::TempFolder folder_;
    std::string database_;
    std::string log_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Sound sound;
    sound.damage(data, size);
    sound.check();
    return 0;
}
