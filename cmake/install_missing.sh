# install_missing PACKAGE ...: installs the Debian packages that are not installed yet, and says so. On other systems it
# does nothing, and the build reports what is missing.
install_missing() {
  local package missing=()
  command -v apt-get >/dev/null || return 0
  for package in "$@"; do
    dpkg-query --show --showformat='${db:Status-Status}' "$package" 2>/dev/null | grep -qx installed ||
      missing+=("$package")
  done
  [ ${#missing[@]} -gt 0 ] || return 0
  local as_root=()
  [ "$(id -u)" -eq 0 ] || as_root=(sudo)
  echo "installing: ${missing[*]}"
  "${as_root[@]}" apt-get update -qq
  "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# install_missing_node: Node and npm, which may also come from elsewhere than from Debian.
install_missing_node() {
  command -v node >/dev/null || install_missing nodejs
  command -v npm >/dev/null || install_missing npm
}

# install_modules FOLDER: the npm packages that the folder's lock file names, unless they are there.
install_modules() {
  [ "$1/node_modules/.package-lock.json" -nt "$1/package-lock.json" ] || npm --prefix "$1" ci --loglevel=error
}
