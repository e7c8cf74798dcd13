# KXB_SANITIZE: "address" (ASan with UBSan), "thread" (TSan) or empty.
set(KXB_SANITIZE "" CACHE STRING "Sanitizer build: address, thread or empty")
if(KXB_SANITIZE STREQUAL "address")
  add_compile_options(-fsanitize=address,undefined -fno-omit-frame-pointer
                      -fno-sanitize-recover=undefined)
  add_link_options(-fsanitize=address,undefined)
elseif(KXB_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(NOT KXB_SANITIZE STREQUAL "")
  message(FATAL_ERROR "KXB_SANITIZE must be address, thread or empty")
endif()
