# Headers of HIDL packages, as an Android tree generates them.

find_program(HIDL_GEN hidl-gen REQUIRED)
mark_as_advanced(HIDL_GEN)

# add_hidl_headers(TARGET FOLDER ROOTS root... PACKAGES package... SOURCES source... HEADERS header...)
#
# Makes TARGET generate the packages' headers below FOLDER. A root is name:folder, a package
# name@version; the headers that are included from outside are given relative to FOLDER.
function(add_hidl_headers target folder)
  cmake_parse_arguments(PARSE_ARGV 2 hidl "" "" "ROOTS;PACKAGES;SOURCES;HEADERS")
  list(TRANSFORM hidl_ROOTS PREPEND -r)
  list(TRANSFORM hidl_HEADERS PREPEND ${folder}/)
  add_custom_command(
    OUTPUT ${hidl_HEADERS}
    COMMAND ${HIDL_GEN} -R -L c++-headers -o ${folder} ${hidl_ROOTS} ${hidl_PACKAGES}
    # As later versions write it: without "inline", clang defines it once per object file.
    COMMAND sed -i "s/^template<> constexpr/template<> inline constexpr/" ${hidl_HEADERS}
    DEPENDS ${hidl_SOURCES}
    COMMENT "Generating HIDL headers"
    VERBATIM)
  add_custom_target(${target} DEPENDS ${hidl_HEADERS})
endfunction()
