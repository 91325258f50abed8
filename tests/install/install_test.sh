#!/usr/bin/env bash
# Usage: install_test.sh BUILD WORK CXX STEP
# BUILD is a build tree, WORK a folder for new files, CXX the compiler, and STEP one of
#   stage          installs into WORK/moved; the steps below follow it
#   cmake_package  builds and runs the consumer and an example, which find the library by
#                  find_package
#   pkg_config     the same, found by pkg-config
#   c_program      builds and runs an example in C, found by pkg-config
#   program        runs the installed program
#   files          checks the installed files
set -euo pipefail

build=$1 work=$2 compiler=$3 step=$4
source=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
consumer=$source/tests/install/consumer
installed=$work/moved

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

library_dir() { dirname "$(find "$installed" -name libzandrel.so)"; }

# We install through DESTDIR with another prefix than the build tree's, and then move the result. So
# the next steps fail if a file contains a path of the build tree or of the first folder.
stage() {
    rm -rf "$work"
    mkdir -p "$work"
    DESTDIR="$work/stage" cmake --install "$build" --prefix /opt/zandrel >/dev/null
    [[ $(ls "$work/stage") == opt ]] || fail "something is installed outside of the prefix"
    mv "$work/stage/opt/zandrel" "$installed"
}

# Runs the example in a folder of its own.
check_text_library() {
    mkdir -p "$work/text"
    (cd "$work/text" && "$1") | grep -q '^delivery 0' || fail "the text library does not classify"
}

cmake_package() {
    cmake -S "$consumer" -B "$work/cmake" -G Ninja -DCMAKE_CXX_COMPILER="$compiler" \
        -DCMAKE_PREFIX_PATH="$installed" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
    cmake --build "$work/cmake"
    grep -qF "$installed" "$work/cmake/CMakeCache.txt" || fail "another installation is found"
    "$work/cmake/consumer"
    (cd "$work/cmake" && ./messages >/dev/null)
    check_text_library "$work/cmake/text_library"
}

pkg_config() {
    local -a flags
    PKG_CONFIG_PATH=$(library_dir)/pkgconfig
    export PKG_CONFIG_PATH
    read -ra flags <<<"$(pkg-config --cflags --libs zandrel)"
    "$compiler" -std=c++20 "$consumer/main.cpp" "${flags[@]}" -o "$work/consumer"
    LD_LIBRARY_PATH=$(library_dir) "$work/consumer"
    read -ra flags <<<"$(pkg-config --cflags --libs zandrel_text)"
    "$compiler" -std=c++20 "$source/examples/text_library.cpp" "${flags[@]}" -o "$work/text_library"
    LD_LIBRARY_PATH=$(library_dir) check_text_library "$work/text_library"
    pkg-config --atleast-version=1.0 zandrel || fail "the version of zandrel.pc is below 1.0"
    [[ $(pkg-config --variable=prefix zandrel | xargs realpath) == "$(realpath "$installed")" ]] ||
        fail "the prefix of zandrel.pc is not where it stands"
}

# The flags of the C++ consumer are also enough for a C compiler.
c_program() {
    local -a flags
    PKG_CONFIG_PATH=$(library_dir)/pkgconfig
    export PKG_CONFIG_PATH
    read -ra flags <<<"$(pkg-config --cflags --libs zandrel_text)"
    "${CC:-cc}" -std=c11 -Wall -Wextra -Wpedantic -Werror "$source/examples/text_library.c" \
        "${flags[@]}" -o "$work/c_program"
    (cd "$work" && LD_LIBRARY_PATH=$(library_dir) ./c_program) >"$work/c_program.txt"
    # The page shows this program first, and other ones after it.
    diff <(sed -n '/^```text$/,/^```$/p; /^```text$/,${/^```$/q}' "$source/docs/c.md" | grep -v '^```') \
        "$work/c_program.txt" ||
        fail "the program in C prints something else"
}

program() {
    [[ $("$installed/bin/zandrel" --version) == "zandrel 1."* ]] ||
        fail "the installed program does not tell its version"
}

files() {
    local text
    # Programs linked to the library load it by the name with the major version.
    readelf -d "$(library_dir)/libzandrel.so" | grep -qF 'soname: [libzandrel.so.1]' ||
        fail "libzandrel.so has not the soname libzandrel.so.1"
    readelf -d "$(library_dir)/libzandrel_text.so" | grep -qF 'soname: [libzandrel_text.so.1]' ||
        fail "libzandrel_text.so has not the soname libzandrel_text.so.1"
    # The public classes and the functions of C, and nothing of what they are made of.
    if nm -DC --defined-only "$(library_dir)/libzandrel_text.so" | cut -d' ' -f3- |
        grep -vE '^(zandrel::(Classifier|Records|Error)::|zandrel::name_of\(zandrel::Error_code\)|(typeinfo|typeinfo name|vtable) for zandrel::Error$|zandrel_)'; then
        fail "libzandrel_text.so exports the symbols above"
    fi
    [[ -L $(library_dir)/libzandrel.so.1 ]] || fail "libzandrel.so.1 is no link"

    # All headers except those that say that they are the library's own.
    diff <(
        cd "$source"
        { grep -rL --include='*.h' '^// Not installed' zandrel; cd text/include && find zandrel -type f; } | sort
    ) \
        <(cd "$installed/include" && find . -type f -printf '%P\n' | sort) ||
        fail "what is installed is not every header of the library"

    for text in "$source" "$build" /opt/zandrel; do
        if grep -rlF -- "$text" "$(library_dir)/cmake" "$(library_dir)/pkgconfig"; then
            fail "the files above name $text"
        fi
    done
}

case "$step" in
    stage | cmake_package | pkg_config | c_program | program | files) "$step" ;;
    *) fail "no step '$step'" ;;
esac
