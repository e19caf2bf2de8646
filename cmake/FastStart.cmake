# All that makes a run of given words start fast. Each line tells what it is worth: wall time of `ryntool coredump status`,
# run alternately with and without it (script/bench measures the sum).

# ryn_plain_heap(TARGET): the program sets up its heap for one thread that works at a time. A source of the program, because a library
# must leave the heap to the program that it is in.
function(ryn_plain_heap target)
  target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/Platform/PlainHeap.cpp)
endfunction()

# ryn_fast_start(TARGET): links TARGET so that it starts fast. It becomes one static executable.
function(ryn_fast_start target)
  ryn_plain_heap(${target})
  if(RYN_SANITIZER)
    return()  # the sanitizers are shared libraries
  endif()
  # 50 %: no dynamic linker. Without what isn't used, fewer pages are read.
  target_link_options(${target} PRIVATE -static LINKER:--gc-sections)
  # 2 %: the C library doesn't ask the kernel where the program lies. A source of the program itself, so that the library's own
  # function isn't even looked at.
  target_sources(${target} PRIVATE ${PROJECT_SOURCE_DIR}/Platform/ProgramOrigin.cpp)
  # 5 %: lld lays the pages out better, and it can put what such a run passes through side by side, the C library's part too: 28 page
  # faults instead of 39. Benchmarks/startup_order.py writes the order anew; what is missing or gone in it costs a page, nothing else.
  include(CheckLinkerFlag)
  check_linker_flag(CXX -fuse-ld=lld RYN_HAS_LLD)
  set(order ${PROJECT_SOURCE_DIR}/cmake/startup-order.txt)
  if(RYN_HAS_LLD)
    target_link_options(${target} PRIVATE
      -fuse-ld=lld LINKER:--symbol-ordering-file=${order} LINKER:--no-warn-symbol-ordering)
    set_target_properties(${target} PROPERTIES LINK_DEPENDS ${order})
  endif()
endfunction()
