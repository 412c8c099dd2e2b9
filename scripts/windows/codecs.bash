# For sourcing behind cache.bash: how each codec's library is built.

common_codecs=(libogg libvorbis opus lame opencore-amr vo-amrwbenc libvpx dav1d svt-av1)
gpl_codecs=(x264 x265)
lgpl_codecs=(openh264)

build_libogg() { autotools libogg; }
build_libvorbis() {
  autotools libvorbis --disable-oggtest --disable-examples --disable-docs \
    PKG_CONFIG_LIBDIR="${folder[libogg]}/lib/pkgconfig"
}
# Fortified code needs a library of the compiler's.
build_opus() {
  autotools opus --disable-doc --disable-extra-programs CPPFLAGS=-D_FORTIFY_SOURCE=0
}
build_lame() { autotools lame --disable-frontend --disable-gtktest; }
build_opencore-amr() { autotools opencore-amr; }
build_vo-amrwbenc() { autotools vo-amrwbenc; }

build_libvpx() {
  (cd libvpx && CROSS=$target- ./configure --target=x86_64-win64-gcc --prefix="$prefix" \
    --disable-examples --disable-tools --disable-docs --disable-unit-tests --enable-vp9-highbitdepth &&
    make -s -j"$(nproc)" install)
}

build_dav1d() { meson_build dav1d -Denable_tools=false -Denable_tests=false; }

build_svt-av1() {
  cmake_build svt-av1 -DBUILD_SHARED_LIBS=OFF -DBUILD_APPS=OFF -DBUILD_DEC=OFF -DNATIVE=OFF \
    -DSVT_AV1_LTO=OFF
}

build_openh264() { meson_build openh264 -Dtests=disabled; }

build_x264() {
  (cd x264 && ./configure --host=$target --cross-prefix=$target- --prefix="$prefix" \
    --enable-static --disable-cli --disable-opencl && make -s -j"$(nproc)" install)
}

build_x265() {
  cmake_build x265/source -DENABLE_SHARED=OFF -DENABLE_CLI=OFF \
    -DCMAKE_ASM_NASM_FLAGS=-w-macro-params-legacy
  # It names the compiler's DLL.
  sed -i 's/-lgcc_s/-lgcc_eh/' "$prefix/lib/pkgconfig/x265.pc"
}

# build_codecs CODEC...: sets their version and folder, and builds what isn't there.
build_codecs() {
  local codec builds=() build
  for codec in "$@"; do
    case $codec in
      libvorbis) place "$codec" "$codec" libogg ;;
      *) place "$codec" "$codec" ;;
    esac
  done
  build libogg libogg
  # Side by side, since configuring takes one processor.
  trap 'kill $(jobs -p) 2>/dev/null || true' EXIT
  for codec in "$@"; do
    while [ "$(jobs -rp | wc -l)" -ge $((2 * $(nproc))) ]; do wait -n; done
    build "$codec" "$codec" &
    builds+=($!)
  done
  for build in "${builds[@]}"; do wait "$build"; done
}
