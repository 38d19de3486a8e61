# The distribution's ICU, which is optional: with it the companion of platform/icu is built, and tests and benchmarks
# hold themselves against it. ORV_HAVE_ICU tells whether it is used.
set(ORV_ICU_LAYER AUTO CACHE STRING "Build the companion that brings ICU: AUTO (if libicu-dev is there), ON or OFF")
set_property(CACHE ORV_ICU_LAYER PROPERTY STRINGS AUTO ON OFF)

set(ORV_HAVE_ICU FALSE)
if(NOT ORV_ICU_LAYER STREQUAL "OFF")
    find_package(ICU QUIET COMPONENTS uc i18n)
    # The tools that make converters of mapping tables come with ICU's headers.
    find_program(ORV_MAKECONV makeconv)
    find_program(ORV_ICUPKG icupkg PATHS /usr/sbin)
    find_package(Python3 QUIET COMPONENTS Interpreter)
    if(ICU_FOUND AND ORV_MAKECONV AND ORV_ICUPKG AND Python3_FOUND)
        set(ORV_HAVE_ICU TRUE)
    elseif(ORV_ICU_LAYER STREQUAL "ON")
        message(FATAL_ERROR "ORV_ICU_LAYER is ON, but ICU, its tools or Python 3 are missing")
    else()
        message(STATUS "ICU, its tools or Python 3 not found: no liborvicu16_r.so, and no test against ICU")
    endif()
endif()
