# Sourced by the scripts beside it: which Debian packages the project needs, and installing those that are missing.

build_packages=(
  cmake g++ make pkg-config
  libcli11-dev libebml-dev libflac-dev libfmt-dev libmatroska-dev libmpg123-dev libogg-dev libpugixml-dev
  libsndfile1-dev libsoxr-dev libtag1-dev libxxhash-dev nlohmann-json3-dev uuid-dev
)
test_packages=(
  alsa-utils binutils ccache ffmpeg fish flac gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-tools
  help2man jq lame libbenchmark-dev libclang-rt-14-dev libgmock-dev libgstreamer-plugins-base1.0-dev libgtest-dev
  librapidcheck-dev libxml2-utils mkvtoolnix opus-tools python3 rsync sound-theme-freedesktop sox xxhash
  zsh
)
benchmark_packages=(
  ffmpeg flac gnuplot-nox gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-tools libabsl-dev libavutil-dev
  libbenchmark-dev libboost-dev libboost-filesystem-dev libgstreamer1.0-dev libyuv-dev mkvtoolnix parallel python3
  sndfile-programs
)
packaging_packages=(debootstrap dpkg-dev fish help2man libgstreamer-plugins-base1.0-dev lintian zsh)
check_packages=(
  abigail-tools clang-14 clang-format-14 clang-tidy-14 doxygen g++-multilib googletest libc6-dbg libclang-rt-14-dev valgrind
)

# Installs those of the named packages that are missing, and says so; silent when there is nothing to do.
install_missing() {
  local missing=() package
  for package in "$@"; do
    if [[ $(dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null) != installed ]]; then
      missing+=("$package")
    fi
  done
  [[ ${#missing[@]} -gt 0 ]] || return 0

  local as_root=()
  [[ $EUID -eq 0 ]] || as_root=(sudo)
  echo "Installing Debian packages: ${missing[*]}" >&2
  {
    "${as_root[@]}" apt-get update &&
      "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install --yes --no-install-recommends "${missing[@]}"
  } >&2 </dev/null
}

# Puts RapidCheck for 32-bit x86 where the preset m32 looks for it, in build/i386, so that the system need not take on a
# second architecture. GoogleTest is built from its sources there, and libuuid done without.
fetch_rapidcheck_for_32_bits() {
  local apt=$PWD/build/apt
  local options=(-o APT::Architecture=i386 -o APT::Architectures=i386 -o "Dir::State::lists=$apt/lists" -o "Dir::Cache=$apt")
  [[ ! -e build/i386/usr/include/rapidcheck.h ]] || return 0
  mkdir -p "$apt/lists/partial" "$apt/archives/partial"
  apt-get "${options[@]}" update >&2 || true # the download fails if it needs a list that is missing
  (cd "$apt" && apt-get "${options[@]}" download librapidcheck-dev) >&2
  dpkg-deb --extract "$apt"/librapidcheck-dev_*_i386.deb build/i386
}
