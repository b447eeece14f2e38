# kovira_options: the compiler flags that every target of this project is built with.
add_library(kovira_options INTERFACE)
target_compile_definitions(kovira_options INTERFACE QT_NO_CAST_TO_ASCII QT_NO_KEYWORDS
                           QT_DEPRECATED_WARNINGS QT_DISABLE_DEPRECATED_BEFORE=0x050c00)
target_compile_options(kovira_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wconversion
                       -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
    # Qt's logging macros leave the variadic part empty. A signal "event" is no slip for
    # QObject::event(), which g++ knows.
    target_compile_options(kovira_options INTERFACE -Wno-gnu-zero-variadic-macro-arguments
                           -Wno-overloaded-virtual)
endif()
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    # Notes on what GCC 7.1 passes otherwise than older ones; nothing of an older one is linked.
    target_compile_options(kovira_options INTERFACE -Wno-psabi)
endif()
if(KOVIRA_WERROR)
    target_compile_options(kovira_options INTERFACE -Werror)
endif()

if(KOVIRA_SANITIZE)
    add_compile_options(-fsanitize=${KOVIRA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
    add_link_options(-fsanitize=${KOVIRA_SANITIZE})
endif()
if(KOVIRA_FUZZ)
    # Coverage feedback from all code that a target reaches, not only from the target itself.
    add_compile_options(-fsanitize=fuzzer-no-link)
endif()

# What is delivered: hardened, and without the names of the folders that it was built in. The
# checks of a sanitizer do not go with _FORTIFY_SOURCE, and its reports want the names.
if(KOVIRA_HARDENED AND NOT KOVIRA_SANITIZE)
    set(delivered $<OR:$<CONFIG:Release>,$<CONFIG:RelWithDebInfo>>)
    target_compile_options(kovira_options INTERFACE
        "$<${delivered}:-fstack-protector-strong;-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>"
        "$<${delivered}:-ffile-prefix-map=${PROJECT_SOURCE_DIR}=.>"
        "$<${delivered}:-ffile-prefix-map=${PROJECT_BINARY_DIR}=build>")
    target_link_options(kovira_options INTERFACE "$<${delivered}:LINKER:-z,relro,-z,now>")
endif()
# CMAKE_POSITION_INDEPENDENT_CODE alone does not tell the linker to make a program one (PIE).
include(CheckPIESupported)
check_pie_supported()
