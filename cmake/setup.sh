# What ./run and ./test share: make sure that the packages are there, configure, build. Sourced by
# bash, from the root of the tree.

packages=(
  g++ clang cmake ninja-build pkg-config dpkg-dev file binutils
  qt6-base-dev qt6-qpa-plugins qt6-webengine-dev libqt6webenginecore6-bin fonts-dejavu-core
  qt6-positioning-dev libqt6positioning6-plugins qt6-image-formats-plugins qt6-connectivity-dev
  qt6-declarative-dev qml6-module-qtquick qml6-module-qtquick-window qml6-module-qtqml
  qml6-module-qtqml-models qml6-module-qtqml-workerscript
  libcurl4-openssl-dev libpng-dev nlohmann-json3-dev libcpp-httplib-dev libcli11-dev
  libgtest-dev libgmock-dev libbenchmark-dev python3 python3-dbusmock dbus tzdata sway qt6-wayland
  dunst xvfb xauth chromium chromium-driver
  doxygen help2man bash-completion
)

# A descriptor 0 that the caller closed would be taken by the first file that a program opens.
[[ -e /proc/self/fd/0 ]] || exec </dev/null

say() { printf '%s: %s\n' "$program" "$*"; }
fail() {
  printf '%s: %s\n' "$program" "$*" >&2
  exit 1
}

# need PACKAGE...: installs those that are missing on Debian 12; names them and stops elsewhere.
need() {
  local installed missing=() name sudo=()
  installed=$(dpkg-query --show --showformat='${Package} ${db:Status-Status}\n' "$@" 2>/dev/null || :)
  for name in "$@"; do
    grep -qFx "$name installed" <<<"$installed" || missing+=("$name")
  done
  ((${#missing[@]})) || return 0
  if ! grep -q '^VERSION_CODENAME=bookworm' /etc/os-release 2>/dev/null; then
    fail "please install what these Debian 12 packages hold: ${missing[*]}"
  fi
  if ((EUID != 0)); then
    command -v sudo >/dev/null || fail "root must install: ${missing[*]}"
    sudo=(sudo)
  fi
  say "installing ${missing[*]}"
  "${sudo[@]}" apt-get update --quiet || fail "apt-get update failed"
  "${sudo[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install --yes --quiet \
    --no-install-recommends "${missing[@]}" || fail "could not install ${missing[*]}"
}

# build PRESET FOLDER: configures where it has to, and builds; FOLDER is the preset's.
build() {
  if [[ ! -e $2/build.ninja || CMakePresets.json -nt $2/build.ninja ]]; then
    say "configuring $1"
    cmake --preset "$1" || fail "configuring $1 failed"
  fi
  say "building $1"
  cmake --build --preset "$1" || fail "building $1 failed"
}
