#!/bin/sh
# need-packages.sh PACKAGE... - sees to it that these Debian packages are here.
#
# Says nothing and costs next to nothing when they are. Otherwise installs the
# missing ones as root, or tells which they are and fails.
set -eu

missing=
for package in "$@"; do
    status=$(dpkg-query -W -f '${Status}' "$package" 2>/dev/null || true)
    [ "$status" = "install ok installed" ] || missing="$missing $package"
done
[ -n "$missing" ] || exit 0

if [ "$(id -u)" -ne 0 ]; then
    echo "These packages are missing, and installing them takes root:" >&2
    echo "    apt-get install$missing" >&2
    exit 1
fi
echo "Installing$missing" >&2

# No service among them is to start: the tests run servers of their own.
policy=/usr/sbin/policy-rc.d
if [ ! -e "$policy" ]; then
    trap 'rm -f "$policy"' EXIT
    printf '#!/bin/sh\nexit 101\n' >"$policy"
    chmod 755 "$policy"
fi
export DEBIAN_FRONTEND=noninteractive
apt-get update -qq
# The names are words of a list.
# shellcheck disable=SC2086
apt-get install -y -qq --no-install-recommends $missing >/dev/null
