#include "Corvane/baseband/simulated/FileSystemSync.h"

#include <fmt/format.h>

#include <utility>

namespace corvane::simulated {

void FileSystemSync::begin(bool waitForCompletion, Completion<void> completion) {
    if (!end_.isSet()) {
        end_.set(kDuration, [this] { complete(); });
    }
    if (waitForCompletion) {
        waiting_.push_back(std::move(completion));
    } else {
        completion({});
    }
}

void FileSystemSync::interrupt(const std::string& why) {
    end_.cancel();
    completeAll(waiting_,
                Refusal::aborted(fmt::format("The sync of the remote filesystem was interrupted {}; send it again.", why)));
}

void FileSystemSync::complete() {
    completeAll(waiting_, nvData_.recordSync(clock_.text()));
}

}  // namespace corvane::simulated
