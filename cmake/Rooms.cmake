# lingrelay_room(NAME SOURCES ... [LINK ...]): one static library a room. A room sees only what it links.
# Sources may be empty while a room holds headers alone.
add_library(lingrelay_options INTERFACE)
target_compile_options(lingrelay_options INTERFACE -Wall -Wextra -Wpedantic
    $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local> -Woverloaded-virtual -Werror=return-type)
target_include_directories(lingrelay_options INTERFACE ${CMAKE_SOURCE_DIR})

# On in our presets alone: what another compiler warns of must not keep anybody from building.
option(LINGRELAY_WARNINGS_ARE_ERRORS "End the build at a warning" OFF)
if(LINGRELAY_WARNINGS_ARE_ERRORS)
    target_compile_options(lingrelay_options INTERFACE -Werror)
endif()

# GCC 12 warns falsely about std::string inside inlined coroutines and variants.
target_compile_options(lingrelay_options INTERFACE
    $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict -Wno-maybe-uninitialized -Wno-dangling-pointer -Wno-stringop-overflow>
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<CONFIG:Release>>:-Wno-array-bounds>)

set(LINGRELAY_SANITIZE "" CACHE STRING "Sanitizers for -fsanitize=, such as address,undefined or thread")
if(LINGRELAY_SANITIZE)
    target_compile_options(lingrelay_options INTERFACE -fsanitize=${LINGRELAY_SANITIZE} -fno-omit-frame-pointer
        -fno-sanitize-recover=undefined $<$<CXX_COMPILER_ID:Clang>:-fno-sanitize=function>) # not with coroutines
    target_link_options(lingrelay_options INTERFACE -fsanitize=${LINGRELAY_SANITIZE})
    target_compile_definitions(lingrelay_options INTERFACE LINGRELAY_SANITIZED=1)
endif()

function(lingrelay_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;LINK;PRIVATE" ${ARGN})
    if(ROOM_SOURCES)
        add_library(lingrelay_${name} STATIC ${ROOM_SOURCES})
        target_link_libraries(lingrelay_${name} PUBLIC lingrelay_options ${ROOM_LINK} PRIVATE ${ROOM_PRIVATE})
        if(TARGET lingrelay_base AND NOT name STREQUAL base)
            target_precompile_headers(lingrelay_${name} REUSE_FROM lingrelay_base)
        else()
            target_precompile_headers(lingrelay_${name} PRIVATE ${CMAKE_SOURCE_DIR}/base/Prefix.h)
        endif()
    else()
        add_library(lingrelay_${name} INTERFACE)
        target_link_libraries(lingrelay_${name} INTERFACE lingrelay_options ${ROOM_LINK})
    endif()
endfunction()

# A library or program that uses Qt: its meta objects, and a precompiled header with Qt's common ones.
function(lingrelay_uses_qt target)
    set_target_properties(${target} PROPERTIES AUTOMOC ON)
    target_compile_definitions(${target} PRIVATE QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII)
    target_link_libraries(${target} PRIVATE Qt6::Quick Qt6::Widgets)
    if(NOT TARGET lingrelay_qt_prefix)
        file(WRITE ${CMAKE_BINARY_DIR}/qt_prefix.cpp "")
        add_library(lingrelay_qt_prefix OBJECT ${CMAKE_BINARY_DIR}/qt_prefix.cpp)
        target_link_libraries(lingrelay_qt_prefix PRIVATE lingrelay_options fmt::fmt nlohmann_json::nlohmann_json Qt6::Quick
            Qt6::Widgets)
        target_compile_definitions(lingrelay_qt_prefix PRIVATE QT_NO_KEYWORDS QT_NO_CAST_TO_ASCII)
        target_precompile_headers(lingrelay_qt_prefix PRIVATE ${CMAKE_SOURCE_DIR}/base/Prefix.h
            <QGuiApplication> <QQmlEngine> <QQuickWindow> <QTimer>)
    endif()
endfunction()

function(lingrelay_qt_room name)
    cmake_parse_arguments(ROOM "" "" "SOURCES;LINK;PRIVATE" ${ARGN})
    add_library(lingrelay_${name} STATIC ${ROOM_SOURCES})
    target_link_libraries(lingrelay_${name} PUBLIC lingrelay_options ${ROOM_LINK} PRIVATE ${ROOM_PRIVATE})
    lingrelay_uses_qt(lingrelay_${name})
    target_precompile_headers(lingrelay_${name} REUSE_FROM lingrelay_qt_prefix)
endfunction()
