# For sourcing: cross-builds Debian's source packages, each into a folder of its own in the user's
# cache. The folder's name stands for the version, the compiler's and how it is built, so that a change
# of one of them builds it, and what depends on it, anew.

cache=${XDG_CACHE_HOME:-$HOME/.cache}/mpg
target=x86_64-w64-mingw32
compiler=$("$target-gcc-posix" -dumpfullversion)
export CC="ccache $target-gcc-posix" CXX="ccache $target-g++-posix"
# GCC doesn't align the stack for vectors of more than 16 bytes on Windows.
export CFLAGS="-O3 -Wa,-muse-unaligned-vector-move"
export CXXFLAGS=$CFLAGS CPPFLAGS=

# apt with Debian's source packages, from the mirrors that this machine uses, and a state of its
# own: the machine's settings stay as they are. In the machine's order: what a release took over from
# its security updates is gone from their archive.
prepare_apt() {
  mkdir -p "$cache/apt/lists/partial" "$cache/apt/archives/partial"
  apt-get indextargets --format 'deb-src $(REPO_URI) $(CODENAME) $(COMPONENT) # $(ORIGIN)' \
    'Created-By: Packages' 'Origin: Debian' | uniq > "$cache/apt/sources.list"
  apt_options=(
    -o Dir::Etc::SourceList="$cache/apt/sources.list" -o Dir::Etc::SourceParts=/dev/null
    -o Dir::State::Lists="$cache/apt/lists" -o Dir::Cache="$cache/apt"
    -o APT::Sandbox::User="$(id -un)" -q)
  # The index of source packages, once a day.
  if [ -z "$(find "$cache/apt/updated" -mtime -1 2>/dev/null)" ]; then
    apt-get "${apt_options[@]}" update > "$cache/apt/log"
    touch "$cache/apt/updated"
  fi
}

# Unpacks PACKAGE into a folder of that name.
fetch() {
  apt-get "${apt_options[@]}" source --only-source "$1=${version[$1]}" >/dev/null
  mv "$1"-*/ "$1"
}

declare -A version folder
# place NAME PACKAGE ON...: sets version[PACKAGE] and folder[NAME], where build_PACKAGE installs with
# `options`. ON are names that it depends on.
place() {
  local name=$1 package=$2 on key
  version[$package]=$(apt-cache "${apt_options[@]}" showsrc --only-source "$package" |
    sed -n 's/^Version: //p' | sort -V | tail -n 1)
  [ -n "${version[$package]}" ] || { echo "no source package $package" >&2; return 1; }
  # The shell prints functions without comments.
  key=$({ echo "$compiler $CFLAGS ${version[$package]} ${options[*]-}"
          declare -f "build_$package" autotools cmake_build meson_build
          for on in "${@:3}"; do echo "${folder[$on]##*/}"; done; } | sha256sum | cut -c 1-8)
  folder[$name]=$cache/windows/$name-${version[$package]//[^0-9.]/_}-$key
}

# build NAME PACKAGE: runs build_PACKAGE, unless that is done, in a folder with the package's source.
build() {
  local package=$2 prefix=${folder[$1]} work
  [ ! -e "$prefix/complete" ] || return 0
  echo "building $1 ${version[$package]} for Windows" >&2
  rm -rf "$prefix"
  mkdir -p "$prefix/lib/pkgconfig" "$prefix/licences"
  work=$(mktemp -d)
  # On its own, since a condition's commands go on after a failure.
  (cd "$work"; fetch "$package"; "build_$package"
    cp "$package/debian/copyright" "$prefix/licences/$package.txt") > "$work/log" 2>&1 &
  wait $! || { echo "$1:"; tail -n 40 "$work/log"; rm -rf "$work"; return 1; } >&2
  rm -rf "$work"
  touch "$prefix/complete"
}

# autotools PACKAGE OPTIONS...
autotools() {
  (cd "$1" && ./configure --host=$target --prefix="$prefix" --disable-shared --enable-static \
    --quiet "${@:2}" && make -s -j"$(nproc)" install)
}

# cmake_build FOLDER OPTIONS...
cmake_build() {
  cmake -S "$1" -B build -G Ninja -DCMAKE_BUILD_TYPE=Release \
    -DCMAKE_TOOLCHAIN_FILE="$scripts/../../cmake/mingw-w64.cmake" \
    -DCMAKE_INSTALL_PREFIX="$prefix" "${@:2}"
  cmake --build build --target install
}

# meson_build PACKAGE OPTIONS...
meson_build() {
  cat > cross.ini <<EOF
[binaries]
c = ['ccache', '$target-gcc-posix']
cpp = ['ccache', '$target-g++-posix']
ar = '$target-ar'
strip = '$target-strip'
windres = '$target-windres'
pkgconfig = 'false'
[host_machine]
system = 'windows'
cpu_family = 'x86_64'
cpu = 'x86_64'
endian = 'little'
EOF
  meson setup "$1/build" "$1" --cross-file cross.ini --prefix "$prefix" --libdir lib \
    --buildtype release --default-library static "${@:2}"
  meson install -C "$1/build"
}
