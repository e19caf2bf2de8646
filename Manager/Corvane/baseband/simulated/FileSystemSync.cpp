#include "Corvane/baseband/simulated/FileSystemSync.h"

#include <utility>

namespace corvane::simulated {

void FileSystemSync::begin(bool waitForCompletion, const PendingAnswerPtr& answer) {
    if (!underWay_) {
        underWay_ = true;
        end_.set(duration_, [this] { complete(); });
    }
    if (waitForCompletion) {
        waiting_.push_back(answer);
    } else {
        answer->succeed();
    }
}

void FileSystemSync::interrupt(const std::string& why) {
    end_.cancel();
    underWay_ = false;
    for (const PendingAnswerPtr& answer : std::exchange(waiting_, {})) {
        answer->refuse(ResultCode::Aborted, "The sync of the remote filesystem was interrupted " + why + "; send it again.");
    }
}

void FileSystemSync::complete() {
    underWay_ = false;
    const bool written = nvData_.recordSync(clock_.text());
    for (const PendingAnswerPtr& answer : std::exchange(waiting_, {})) {
        if (written) {
            answer->succeed();
        } else {
            answer->refuse(ResultCode::StorageFailed, "The remote filesystem could not be written to disk.");
        }
    }
}

}  // namespace corvane::simulated
