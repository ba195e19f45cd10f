# shellcheck shell=bash disable=SC2154 # root is set in ./run
# The check `consumer`, a part of ./run: programs build against what was installed.

# install_moved <build folder> <kind>: installs a build, and moves the installation to build/consumer/<kind>/installed.
install_moved() {
  quietly "install-$2" cmake --install "$1" --prefix "$root/build/consumer/$2/first"
  mv "build/consumer/$2/first" "build/consumer/$2/installed"
}

# configure_consumer <kind> <name> [definition...]: tests/consumer with an installation.
configure_consumer() {
  cmake -S tests/consumer -B "build/consumer/$1/$2" -G Ninja --fresh \
    -DCMAKE_PREFIX_PATH="$root/build/consumer/$1/installed" "${@:3}"
}

# consume <kind> <name> [definition...]: builds tests/consumer against an installation, and runs it.
consume() {
  local folder=build/consumer/$1/$2 program
  say "Consumer: $1, $2"
  quietly "consumer-$1-$2" configure_consumer "$@"
  quietly "consumer-$1-$2" cmake --build "$folder"
  for program in "$folder"/consumer "$folder"/consumer_c "$folder"/consumer_objc; do
    if [[ -e $program ]]; then run_consumer "$program"; fi
  done
}

# run_consumer <program>: with the sample of field names beside it, and a home directory for the one that writes.
run_consumer() {
  cp examples/SQMFieldNames.plist "$(dirname "$1")"
  "$1" "$root/$(dirname "$1")/home"
}

# refuse <kind> <message> [definition...]: the package must not be found, for this reason.
refuse() {
  say "Consumer: $1, where it must fail: $2"
  if configure_consumer "$1" refused "${@:3}" >build/log/consumer-refused.log 2>&1; then
    die 1 "the package was found all the same"
  fi
  # CMake breaks long lines.
  tr -s '\n ' ' ' <build/log/consumer-refused.log | grep -qF "$2" ||
    die 1 "the message is not '$2', but as in build/log/consumer-refused.log"
}

# compile_by_pkg_config <module> <program> <compiler> <argument>...: a program by pkg-config alone.
compile_by_pkg_config() {
  local flags
  read -r -a flags < <(pkg-config --cflags --libs "$1")
  quietly "pkg-config-$1" "${@:3}" -Wall -Wextra -Werror -o "$2" "${flags[@]}"
}

# consume_by_pkg_config <kind>: each module with a program. The README's finds no server, and stores its records.
consume_by_pkg_config() {
  local folder=build/consumer/$1/pkg-config library
  library=$root/$(dirname "$(find "build/consumer/$1/installed" -name libsqm.so)")
  export PKG_CONFIG_PATH=$library/pkgconfig LD_LIBRARY_PATH=$library HOME=$root/$folder/home
  say "pkg-config: $1"
  mkdir -p "$folder"
  compile_by_pkg_config sqm-c "$folder/sqm-c" cc -std=c99 -pedantic tests/consumer/consumer.c
  run_consumer "$folder/sqm-c"
  compile_by_pkg_config sqm-core "$folder/sqm-core" c++ -std=c++20 tests/consumer/core.cpp
  needs_the_language_alone "$folder/sqm-core"
  run_consumer "$folder/sqm-core"
  compile_by_pkg_config sqm "$folder/sqm" c++ -std=c++20 examples/01_first_record.cpp
  "$folder/sqm" http://127.0.0.1:9
  grep -rqF -- '-61' "$HOME" || die 1 "the README's program stored nothing"
}

# consume_by_python <kind>: the script records, uploads to the installed server, and prints the outcome.
consume_by_python() {
  local installed=$root/build/consumer/$1/installed home=$root/build/consumer/$1/python address
  say "Python: $1"
  coproc server { exec "$installed/bin/sqm-collector" --port 0 --quiet; }
  trap 'kill "$server_PID"' EXIT
  read -r address <&"${server[0]}"
  mkdir "$home"
  quietly "python-$1" python3 tests/consumer/first_record.py "$(find "$installed" -name libsqm.so)" \
    "$installed/share/sqm" "$home" "${address%/}"
  grep -qx 'delivered with status 200' "build/log/python-$1.log" || die 1 "see build/log/python-$1.log"
}

# needs_the_language_alone <program>: no library but the language's own, and ours.
needs_the_language_alone() {
  if ldd "$1" | grep -vE 'linux-vdso|ld-linux|lib(stdc\+\+|m|gcc_s|c)\.so|libsqm_(core|testing)\.so'; then
    die 1 "$1 needs more libraries than the language's own"
  fi
}

# consume_installation <kind>: the whole of an installation, and parts of it that may look for no other package.
consume_installation() {
  consume "$1" whole
  consume "$1" core -DCONSUMER_COMPONENTS="core;testing" -DCONSUMER_ALONE=ON
  needs_the_language_alone "build/consumer/$1/core/consumer"
  (consume_by_pkg_config "$1") # a subshell: it sets the environment
}

# check_private_modules: only who links statically is linked with the libraries of the shared platform.
check_private_modules() {
  local links statically
  PKG_CONFIG_PATH=$(dirname "$(find "$root/build/consumer/shared/installed" -name sqm.pc)")
  export PKG_CONFIG_PATH
  links=$(pkg-config --libs sqm)
  statically=$(pkg-config --static --libs sqm)
  [[ $links == *-lsqm_platform* && $links != *-lcurl* && $statically == *-lcurl* ]] ||
    die 1 "sqm.pc: '$links', and with --static '$statically'"
}

check_consumer() {
  rm -rf build/consumer
  configure_release TOOLS OBJC
  compile release programs
  install_moved build/release static
  consume_installation static
  (consume_by_python static) # a subshell: it ends the server
  consume static c -DCONSUMER_COMPONENTS=c -DCONSUMER_ALONE=ON
  consume static objc -DCONSUMER_COMPONENTS=objc -DCONSUMER_ALONE=ON
  refuse static "SQM has no component 'morse' in this installation. It has: core, testing, platform, c, objc." \
    -DCONSUMER_COMPONENTS="core;morse"
  refuse static "SQM's component 'platform' needs packages that are not found: Threads, CURL, pugixml, ICU, PkgConfig." \
    -DCONSUMER_ALONE=ON
  refuse static 'compatible with requested version "0.2"' -DCONSUMER_VERSION=0.2
  refuse static 'compatible with requested version "0.0.9"' -DCONSUMER_VERSION=0.0.9

  configure shared
  compile shared programs
  install_moved build/shared shared
  consume_installation shared
  check_private_modules
  # Clients of shared libraries need no package of the platform's.
  consume shared alone -DCONSUMER_ALONE=ON

  # A build of the core alone needs no other package either.
  quietly configure-core cmake -S . -B build/core -G Ninja -DSQM_CORE_ONLY=ON -DSQM_BUILD_TESTS=OFF \
    -DCMAKE_CXX_COMPILER_LAUNCHER="$(command -v ccache || true)"
  quietly build-core cmake --build build/core
  install_moved build/core core
  consume core core -DCONSUMER_COMPONENTS="core;testing" -DCONSUMER_ALONE=ON
  refuse core "SQM has no component 'platform' in this installation. It has: core, testing."
}
