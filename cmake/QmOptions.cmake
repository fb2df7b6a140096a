# QmOptions.cmake - how this project's code is compiled and linked.

# Every target: the sanitizers that the preset asks for.
if(QM_SANITIZE)
    add_compile_options(-fsanitize=${QM_SANITIZE} -fno-omit-frame-pointer
                        -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${QM_SANITIZE})
endif()

# Texts are cut at the size of their buffers on purpose, so that gcc's warning
# of it, which clang does not know, says nothing here.
function(qm_warnings target)
    target_compile_features(${target} PRIVATE cxx_std_20 c_std_11)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Werror -Wformat=2 -Wshadow -Wundef -Wvla
        $<$<C_COMPILER_ID:GNU>:-Wno-format-truncation>)
endfunction()

# The library and the examples: hidden by default, no exceptions, no RTTI.
function(qm_product_options target)
    qm_warnings(${target})
    target_compile_options(${target} PRIVATE
        -fvisibility=hidden -fvisibility-inlines-hidden -fno-exceptions
        -fno-rtti -fstack-protector-strong
        $<$<COMPILE_LANGUAGE:CXX>:-Wmissing-declarations>)
    if(NOT QM_SANITIZE)
        target_compile_definitions(${target} PRIVATE
            $<$<NOT:$<CONFIG:Debug>>:_FORTIFY_SOURCE=2>)
    endif()
endfunction()

function(qm_link_options target)
    target_link_options(${target} PRIVATE
        -Wl,-z,relro -Wl,-z,now -Wl,--as-needed)
endfunction()

# The sources of one folder of the library.
function(qm_sources)
    list(TRANSFORM ARGN PREPEND ${CMAKE_CURRENT_SOURCE_DIR}/)
    target_sources(qm-objects PRIVATE ${ARGN})
endfunction()
