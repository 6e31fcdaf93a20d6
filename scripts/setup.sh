# Installs by package name what this machine lacks. Sourced by ./run and ./test.
#   need PACKAGE ...   makes sure of the packages, or says what is missing and fails

need() {
  local missing=()
  local package
  for package in "$@"; do
    dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done
  [ ${#missing[@]} -eq 0 ] && return 0
  stage "installing ${missing[*]} (usually 1 to 3 minutes)"
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  export DEBIAN_FRONTEND=noninteractive
  "${as_root[@]}" apt-get update -qq >&2 &&
    "${as_root[@]}" apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null 2>&1 && return 0
  echo "could not install ${missing[*]}: install them by hand and try again" >&2
  return 1
}

# What every build needs.
build_packages=(g++ cmake ninja-build ccache mold libcli11-dev nlohmann-json3-dev unixodbc-dev
                zlib1g-dev)
# What the windows need; a build without them has everything else.
window_packages=(qt6-base-dev qt6-tools-dev qt6-tools-dev-tools qt6-l10n-tools libqt6opengl6-dev fonts-dejavu-core)
# What taking pictures of the windows needs.
picture_packages=(xvfb openbox xdotool imagemagick designer-qt6)
# What the tests need: the framework, and other programs and real files to compare with.
test_packages=(doctest-dev python3 python3-dbf python3-dbfread gdal-bin ieee-data unicode-data
               unixodbc odbcinst libsqliteodbc sqlite3 odbc-postgresql postgresql
               odbc-mariadb mariadb-server mdbtools)
# npm fetches a reader of Access files that the tests compare with; any npm will do.
command -v npm >/dev/null || test_packages+=(nodejs npm)
# What the cluster examples need beyond that.
cluster_packages=(mariadb-plugin-spider galera-4 rsync)

# stage TEXT: one line about what is being done, on standard error.
stage() { echo "== $*" >&2; }

# configure_and_build PRESET USUAL_TIME [TARGET ...]: says what it does and, for a first build, how long
# it takes (USUAL_TIME, on two cores); shows the compilers' log only when one fails.
configure_and_build() {
  local preset=$1 usual=$2
  shift 2
  local folder="$root/build/$preset" log="$root/build/$preset.log"
  mkdir -p "$root/build"
  [ -e "$folder/build.ninja" ] || stage "configuring build/$preset (usually 10 seconds)"
  if ! (cd "$root" && cmake --preset "$preset") >"$log" 2>&1; then
    cat "$log" >&2
    return 1
  fi
  if [ -e "$folder/.ninja_log" ]; then
    stage "bringing ${*:-everything} in build/$preset up to date"
  else
    stage "building ${*:-everything} in build/$preset (usually $usual from nothing)"
  fi
  if ! cmake --build "$folder" --target "${@:-all}" >"$log" 2>&1; then
    cat "$log" >&2
    return 1
  fi
}
