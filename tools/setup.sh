# Shared by ./run and ./test, which source it with `root` set to the repository's root. It installs
# what is missing and configures and builds a preset. Standard output is left to the program and to
# the tests: everything said here goes to standard error.

say() { printf '%s\n' "$*" >&2; }
die() {
  say "$0: $*"
  exit 1
}

# install_packages GROUP...: installs the packages of these groups of tools/packages.txt that are
# missing. Costs one query where nothing is.
install_packages() {
  local group wanted=() installed missing=() name
  for group in "$@"; do
    while read -r name; do wanted+=("$name"); done \
      < <(sed -n "s/^$group //p" "$root/tools/packages.txt")
  done
  if ! command -v dpkg-query >/dev/null; then
    [ -e "$root/build" ] ||
      say "Not a Debian system; these packages, or what they hold, must be there: ${wanted[*]}"
    return
  fi
  installed=$(dpkg-query -W -f '${db:Status-Status} ${Package}\n' "${wanted[@]}" 2>/dev/null |
    sed -n 's/^installed //p') || true
  for name in "${wanted[@]}"; do
    grep -qxF -- "$name" <<<"$installed" || missing+=("$name")
  done
  [ ${#missing[@]} -gt 0 ] || return 0

  local as_root=()
  if [ "$(id -u)" -ne 0 ]; then
    sudo -n true 2>/dev/null || { command -v sudo >/dev/null && [ -t 0 ]; } ||
      die "these packages are missing, and only root can install them:
  apt-get install --no-install-recommends ${missing[*]}"
    as_root=(sudo)
  fi
  say "Installing: ${missing[*]}"
  as_root+=(env DEBIAN_FRONTEND=noninteractive apt-get -y -q)
  "${as_root[@]}" update >&2 </dev/null || say "apt-get update failed; trying with the lists there are"
  "${as_root[@]}" install --no-install-recommends "${missing[@]}" >&2 </dev/null ||
    die "these packages could not be installed: ${missing[*]}"
}

# build_web FOLDER...: builds these TypeScript packages where that is due. The program carries page and
# simulator/web within it.
# Installs Node.js where there is none.
build_web() {
  command -v node >/dev/null && command -v npm >/dev/null || install_packages web
  local folder stamp log
  mkdir -p "$root/build/web"
  for folder in "$@"; do
    stamp=$root/build/web/${folder//\//-}.stamp
    log=${stamp%.stamp}.log
    (
      flock 9
      cd "$root/$folder" || exit 1
      [ ! -e "$stamp" ] || [ ! -d dist ] || [ ! -d node_modules ] ||
        [ -n "$(find . -type f -newer "$stamp" -not -path './node_modules/*' -not -path './dist/*' \
          -print -quit)" ] || exit 0
      say "Building $folder (log: build/web/${log##*/}) ..."
      {
        [ -e node_modules/.package-lock.json ] &&
          [ ! package-lock.json -nt node_modules/.package-lock.json ] || npm ci
      } >"$log" 2>&1 </dev/null && npm run build >>"$log" 2>&1 </dev/null || {
        cat "$log" >&2
        exit 1
      }
      touch "$stamp"
    ) 9>"$stamp.lock" || die "the build of $folder failed"
  done
}

# install_ios: installs what checks the phone's side, with the table that npm has. Where that cannot
# be done, the tests say what they leave out.
install_ios() {
  (install_packages ios) || return 0
  (
    cd "$root/tests/ios" || exit 1
    [ -e node_modules/.package-lock.json ] &&
      [ ! package-lock.json -nt node_modules/.package-lock.json ] || npm ci >&2 </dev/null
  ) || say "The table of the phone's declarations could not be installed."
}

# build_preset PRESET TARGET [CMAKE-CACHE-ARGUMENT...]: configures where that is due, then builds
# the target ("all" for everything). Quiet, unless something fails; builds of one preset at the
# same time wait for each other.
build_preset() {
  local preset=$1 target=$2 folder=$root/build/$1
  shift 2
  mkdir -p "$folder"
  (
    flock 9
    cd "$root" || exit 1
    log=$folder/build.log
    logged() {
      "$@" >"$log" 2>&1 </dev/null && return
      cat "$log" >&2
      exit 1
    }
    [ -e "$folder/.built-$target" ] ||
      say "Building $preset for the first time, which takes some minutes (log: build/$preset/build.log) ..."
    # Ninja configures again by itself when a CMakeLists.txt changes, but does not know about the
    # presets and these arguments.
    settings="$*"
    if [ ! -e "$folder/build.ninja" ] || [ CMakePresets.json -nt "$folder/build.ninja" ] ||
      [ "$settings" != "$(cat "$folder/.settings" 2>/dev/null)" ]; then
      logged cmake --preset "$preset" "$@"
      printf '%s\n' "$settings" >"$folder/.settings"
    fi
    logged cmake --build "$folder" --target "$target"
    touch "$folder/.built-$target"
  ) 9>"$folder/.lock" || die "the build of preset $preset failed"
}
