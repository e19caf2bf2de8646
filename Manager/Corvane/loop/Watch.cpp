#include "Corvane/loop/Watch.h"

#include <sys/epoll.h>

#include <utility>

namespace corvane {

Watch::Watch(Loop& loop, int descriptor, Order order, std::function<void()> ready)
    : loop_(loop), descriptor_(descriptor), order_(order), ready_(std::move(ready)) {
    epoll_event event{EPOLLIN, {this}};
    epoll_ctl(loop_.descriptors_.get(), EPOLL_CTL_ADD, descriptor_, &event);
}

Watch::~Watch() {
    epoll_ctl(loop_.descriptors_.get(), EPOLL_CTL_DEL, descriptor_, nullptr);
}

void Watch::setInterest(Interest interest) {
    if (interest == interest_) {
        return;
    }
    interest_ = interest;
    epoll_event event{interest == Interest::Read ? EPOLLIN : EPOLLOUT, {this}};
    epoll_ctl(loop_.descriptors_.get(), EPOLL_CTL_MOD, descriptor_, &event);
}

}  // namespace corvane
