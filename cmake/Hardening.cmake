# harden(target): what makes a fault harder to use, in the builds that people run; debug builds have the sanitizers instead. The
# service, which strangers talk to, has it in all of these, the rest where there is time to build. Debian's
# compilers make programs that can lie anywhere (PIE) by themselves.

function(harden target)
  if(PARLOWEN_SANITIZE)
    return()
  endif()
  target_compile_options(${target} INTERFACE "$<$<NOT:$<CONFIG:Debug>>:-fstack-protector-strong;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  target_compile_definitions(${target} INTERFACE $<$<NOT:$<CONFIG:Debug>>:_GLIBCXX_ASSERTIONS>)
  target_link_options(${target} INTERFACE "$<$<NOT:$<CONFIG:Debug>>:-Wl,-z,relro,-z,now>")
endfunction()

if(NOT CMAKE_UNITY_BUILD)
  harden(parlowen_options)
endif()
