# Sourced by the scripts beside it: which Debian packages the project needs, and installing those that are missing.

build_packages=(
  cmake g++ make pkg-config
  libcli11-dev libebml-dev libmatroska-dev libsndfile1-dev libsoxr-dev nlohmann-json3-dev uuid-dev
)
test_packages=(
  alsa-utils binutils ffmpeg flac libbenchmark-dev libclang-rt-14-dev libgmock-dev libgtest-dev librapidcheck-dev mkvtoolnix
  sound-theme-freedesktop sox
)
benchmark_packages=(libabsl-dev libavutil-dev libbenchmark-dev libboost-dev libboost-filesystem-dev libyuv-dev)
check_packages=(clang-14 clang-format-14 clang-tidy-14)

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
