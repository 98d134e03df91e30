# Functions of the shell scripts in scripts/ and scripts/lib/, which source this file. Expects $repo, the top directory.

say() { printf '%s%s%s\n' "$bold" "$*" "$plain"; }
die() {
  printf '%s: %s\n' "$0" "$*" >&2
  exit 1
}

bold='' plain=''
if [ -t 1 ] && [ -z "${NO_COLOR:-}" ]; then bold=$'\e[1m' plain=$'\e[0m'; fi

# list_packages [SECTION]: the packages of a section of scripts/packages.txt, or of all of them, one a line.
list_packages() {
  local line section=''
  while read -r line; do
    case $line in
      '# '*) section=${line#\# } section=${section%%:*} ;;
      ?*) [ "${1:-$section}" != "$section" ] || printf '%s\n' "$line" ;;
    esac
  done <"$repo/scripts/packages.txt"
}

# install_missing [SECTION]: installs what is missing of that section, or of all of them.
install_missing() {
  local package installed wanted missing=() as=()
  command -v dpkg-query >/dev/null || die "this needs Debian 12 (no dpkg-query): install what scripts/packages.txt names by hand"
  mapfile -t wanted < <(list_packages "$@")
  [ ${#wanted[@]} -gt 0 ] || die "scripts/packages.txt has no section $*"
  installed=$(dpkg-query -W -f='${Package}=${db:Status-Status}\n' "${wanted[@]}" 2>/dev/null)
  for package in "${wanted[@]}"; do
    [[ $'\n'$installed$'\n' == *$'\n'"$package=installed"$'\n'* ]] || missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

  if [ "$(id -u)" != 0 ]; then
    command -v sudo >/dev/null || die "packages are missing and there is no sudo; as root: apt-get install ${missing[*]}"
    as=(sudo)
  fi
  say "Installing ${missing[*]}"
  # sudo drops the environment, so it is given behind it.
  "${as[@]}" env DEBIAN_FRONTEND=noninteractive apt-get update -q &&
    "${as[@]}" env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}" ||
    die "installing failed; as root: apt-get install ${missing[*]}"
}

# build_preset PRESET [TARGET...]: configures and builds; makes the sysroot first where the preset needs it.
build_preset() {
  local preset=$1 targets=()
  shift
  [ $# -eq 0 ] || targets=(--target "$@")
  if [ "$preset" = armhf ]; then "$repo/scripts/sysroot" || exit 1; fi
  say "Building ($preset)"
  (cd "$repo" && cmake --preset "$preset" -Wno-dev --log-level=WARNING && cmake --build --preset "$preset" "${targets[@]}") ||
    die "the $preset build failed"
}

# find_debian RELEASE: sets mirror, the archive of that Debian which the machine itself uses, and debian, mmdebstrap's options
# to use it.
find_debian() {
  local proxy=''
  mirror=$(find_mirror "$1")
  # A machine that has installed nothing yet has no lists either.
  if [ -z "$mirror" ] && [ "$(id -u)" = 0 ]; then apt-get update -q && mirror=$(find_mirror "$1"); fi
  [ -n "$mirror" ] || die "apt knows no archive of Debian $1: fetch its package lists with apt-get update"
  debian=(--components=main)
  proxy=$(apt-config shell proxy Acquire::http::Proxy 2>/dev/null) && eval "$proxy"
  [ -z "${proxy:-}" ] || debian+=(--aptopt="Acquire::http::Proxy \"$proxy\"")
}
find_mirror() {
  apt-get indextargets --format '$(ORIGIN) $(RELEASE) $(COMPONENT) $(REPO_URI)' 'Created-By: Packages' 2>/dev/null |
    sed -n "s/^Debian $1 main \(http[^ ]*\)$/\1/p" | head -n 1
}
