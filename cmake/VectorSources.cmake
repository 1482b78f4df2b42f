# qx_vector_sources(SSE2-SOURCE AVX2-SOURCE): vector code that is chosen at run time, whatever the rest is compiled for; on another CPU
# these sources are empty. A 32-bit caller may keep the stack aligned to 4 bytes only.
include(CheckCXXSourceCompiles)
function(qx_vector_sources sse2 avx2)
  check_cxx_source_compiles("#if !defined(__x86_64__) && !defined(__i386__)\n#error\n#endif\nint main() {}" QX_CPU_X86)
  if(NOT QX_CPU_X86)
    return()
  endif()
  if(CMAKE_SIZEOF_VOID_P EQUAL 4)
    set(realign -mstackrealign)
  endif()
  set_source_files_properties(${sse2} PROPERTIES COMPILE_OPTIONS "-msse2;${realign}")
  set_source_files_properties(${avx2} PROPERTIES COMPILE_OPTIONS "-mavx2;-mprfchw;${realign}")
endfunction()
