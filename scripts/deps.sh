#!/usr/bin/env bash
# Installs the Debian packages the build needs, when any is missing. Sourced by the other scripts.
KZ_PACKAGES=(cmake ninja-build g++ pkg-config python3 libicu-dev uuid-dev rapidjson-dev libgeos-dev
             libgtest-dev libgmock-dev libbenchmark-dev libmicrohttpd-dev)

kz_install_deps() {
  local missing=()
  for p in "${KZ_PACKAGES[@]}" "$@"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  if ((${#missing[@]})); then
    echo "Installing: ${missing[*]}"
    local sudo=""
    [ "$(id -u)" -ne 0 ] && sudo=sudo
    $sudo apt-get update -qq
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
  fi
}
