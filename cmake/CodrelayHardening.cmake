# The library reads strangers' files: whatever it is built for, a fault in it shall not be easy to use. Sanitizers bring
# checks of their own, which these would hide.
set(CODRELAY_HARDENED ON)
if(CMAKE_CXX_FLAGS MATCHES "-fsanitize|--coverage")
  set(CODRELAY_HARDENED OFF)
  return()
endif()

add_compile_options(-fstack-protector-strong)
# The checked functions of the C library want an optimised build.
add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
