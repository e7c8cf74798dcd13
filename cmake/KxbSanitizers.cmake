# KXB_SANITIZE, for the whole tree:
#   address  ASan with UBSan
#   thread   TSan
#   fuzzer   ASan with libFuzzer's coverage hooks (clang only), so that the
#            library under a fuzz target is instrumented like the target; the
#            "fuzz" preset sets it and fuzz/ links the targets with libFuzzer
#   (empty)  none
set(KXB_SANITIZE "" CACHE STRING
    "Sanitizer build: address, thread, fuzzer or empty")
if(KXB_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(KXB_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(KXB_SANITIZE STREQUAL "fuzzer")
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "KXB_SANITIZE=fuzzer needs clang; configure with "
                        "-DCMAKE_CXX_COMPILER=clang++ (the fuzz preset does)")
  endif()
  add_compile_options(-fsanitize=fuzzer-no-link,address -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address)
elseif(NOT KXB_SANITIZE STREQUAL "")
  message(FATAL_ERROR "KXB_SANITIZE must be address, thread, fuzzer or empty")
endif()
