#pragma once

#include <cstdint>
#include <functional>

/// Serial queues, groups and once-only initialisation. Everything here may be called from any thread.
struct dispatch_queue;
struct dispatch_group;
using dispatch_queue_t = dispatch_queue*;
using dispatch_group_t = dispatch_group*;
using dispatch_queue_attr_t = const void*;
using dispatch_time_t = std::uint64_t;
/// A copy copies what the function captured; destruction releases it.
using dispatch_block_t = std::function<void()>;

inline constexpr dispatch_time_t DISPATCH_TIME_FOREVER = ~dispatch_time_t{0};

void dispatch_retain(dispatch_queue_t queue);
void dispatch_retain(dispatch_group_t group);
void dispatch_release(dispatch_queue_t queue);
void dispatch_release(dispatch_group_t group);

/// A serial queue: blocks run one after another, in the order of submission. Its thread starts with the first block.
/// @param attributes nullptr: serial, default priority; there is no other kind.
dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attributes);
/// Runs the block on the queue and disposes of it there before the next one starts. Never blocks.
void dispatch_async(dispatch_queue_t queue, dispatch_block_t block);

dispatch_group_t dispatch_group_create();
void dispatch_group_enter(dispatch_group_t group);
/// Leaving a group that was not entered aborts the process with a message.
void dispatch_group_leave(dispatch_group_t group);
/// Blocks until the group is empty. @param timeout DISPATCH_TIME_FOREVER: there is no other. @return 0
long dispatch_group_wait(dispatch_group_t group, dispatch_time_t timeout);

/// Zero-initialised, of static storage duration.
using dispatch_once_t = std::intptr_t;
/// Runs `block` exactly once for `predicate`, however many threads ask; returns when it has run.
void dispatch_once(dispatch_once_t* predicate, const dispatch_block_t& block);
