# KW_SANITIZE applies to every target, so the library, the tools and the tests agree.
if(KW_SANITIZE)
  list(JOIN KW_SANITIZE "," _kw_san)
  add_compile_options(-fsanitize=${_kw_san} -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${_kw_san})
  if("undefined" IN_LIST KW_SANITIZE)
    # A report is a failure, never a line to scroll past.
    add_compile_options(-fno-sanitize-recover=all)
  endif()
endif()
