# Compiler options that hold for every target. The same flags everywhere let all rooms share one
# precompiled header.

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release)
endif()
# Overruns of buffers and stacks end the program before they can be used.
set(CMAKE_CXX_FLAGS_RELEASE
    "-O2 -ftree-vectorize -g1 -DNDEBUG -D_FORTIFY_SOURCE=2 -fstack-protector-strong")
# Addresses that no stranger knows, and no table of them that can be written to once the program runs.
set(CMAKE_EXE_LINKER_FLAGS_RELEASE "-pie -Wl,-z,relro -Wl,-z,now")
set(CMAKE_SHARED_LINKER_FLAGS_RELEASE "-Wl,-z,relro -Wl,-z,now")
set(CMAKE_MODULE_LINKER_FLAGS_RELEASE "-Wl,-z,relro -Wl,-z,now")

find_program(SONMERE_CCACHE ccache)
if(SONMERE_CCACHE)
  set(CMAKE_CXX_COMPILER_LAUNCHER ${CMAKE_COMMAND} -E env
      CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime ${SONMERE_CCACHE})
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-fpch-preprocess)
  endif()
endif()

# One form of code for libraries, modules and programs, or they could not share a precompiled header.
add_compile_options(-fPIC)

# The arithmetic is float32 in its written order: a contraction would change the bits.
add_compile_options(-ffp-contract=off -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor
                    -Woverloaded-virtual -Wimplicit-fallthrough -Werror -pthread)
add_link_options(-pthread)

if(SONMERE_SANITIZE)
  add_compile_options(-fsanitize=${SONMERE_SANITIZE} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${SONMERE_SANITIZE})
  if(SONMERE_SANITIZE MATCHES "undefined")
    add_compile_options(-fno-sanitize-recover=all)
  endif()
  add_compile_definitions(SONMERE_SANITIZED=1)
  # GCC cannot follow initialisation through the sanitizers' checks and blames the standard library.
  if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wno-maybe-uninitialized)
  endif()
endif()
