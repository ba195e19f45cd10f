#!/bin/bash
# What a user does with the packages, inside a fresh system that has booted: ./run check package runs it, in a name space
# without a network. /packages/before and /packages/after are two versions; their dependencies are downloaded.
set -euo pipefail

export DEBIAN_FRONTEND=noninteractive HOME=/root
packages=(libsqm0 libsqm-dev sqm-tools sqm-collector libsqm-doc)
work=/root/trial
service=http://127.0.0.1:8080

say() { printf '== %s\n' "$*"; }

die() {
  printf 'trial: %s\n' "$*" >&2
  exit 1
}

# files: everything in the system, but for what belongs to the package manager, the logs and the running system.
files() {
  find / -xdev \( -path /proc -o -path /sys -o -path /dev -o -path /run -o -path /tmp -o -path /var/tmp -o -path /root \
    -o -path /packages -o -path /var/cache -o -path /var/log -o -path /var/lib/apt -o -path /var/lib/dpkg \) -prune \
    -o -print | sort
}

# install_packages <folder>
install_packages() {
  local package files=()
  for package in "${packages[@]}"; do files+=("$1/$package"_*.deb); done
  say "Install ${files[*]##*/}"
  apt-get install --yes --no-install-recommends "${files[@]}"
}

versions() { dpkg-query -W -f '${Version}\n' "${packages[@]}" | sort -u; }

# get <argument>...: by curl, as soon as the service answers.
get() { curl --silent --retry 20 --retry-delay 1 --retry-connrefused "$@"; }

# expect_records <number>: the service has stored that many.
expect_records() {
  local records
  records=$(get --fail "$service/_records") || { systemctl status --no-pager sqm-collector; die "the service does not answer"; }
  [[ $(grep -o '{"id":' <<<"$records" | wc -l) == "$1" ]] || die "not $1 records: $records"
}

# build_first <program> <module> <compiler> <argument>...: an example, by pkg-config alone.
build_first() {
  local flags
  read -r -a flags < <(pkg-config --cflags --libs "$2")
  "${@:3}" -o "$1" "${flags[@]}"
}

mkdir -p "$work"
cd "$work"
files >before.txt

install_packages /packages/before
before=$(versions)
[[ $(systemctl is-active sqm-collector) == active ]] || die "the service was not started"
[[ $(systemctl show --property ExecMainStatus --value sqm-collector) == 0 ]] || die "the service failed"
expect_records 0

say "Build and run the README's program"
cp /usr/share/doc/libsqm-dev/examples/{01_first_record.cpp,c/01_first_record.c,SQMFieldNames.plist} .
build_first first sqm c++ -std=c++20 01_first_record.cpp
./first "$service"
expect_records 2
sed -i s/2026-11-21/2026-11-22/ 01_first_record.c # another event
build_first first-c sqm-c cc -std=c99 -pedantic 01_first_record.c
sqmctl status
man -w sqmctl sqm-collector

say "The service's user, files and exposure"
pid=$(systemctl show --property MainPID --value sqm-collector)
(($(stat -c %u "/proc/$pid") >= 61184)) || die "the service runs as no dynamic user"
[[ $(stat -c %a /var/lib/private/sqm-collector) == 700 ]] || die "others can enter the service's directory"
systemd-analyze security --no-pager --threshold=15 sqm-collector

say "Serve other machines, with tokens"
mkdir -p /etc/sqm /etc/systemd/system/sqm-collector.service.d
echo 'ada read 0123456789abcdef' >/etc/sqm/tokens
chmod 600 /etc/sqm/tokens
printf '[Service]\nLoadCredential=tokens:/etc/sqm/tokens\n' >/etc/systemd/system/sqm-collector.service.d/tokens.conf
cp /etc/default/sqm-collector default
sed -i 's|"$| --listen 0.0.0.0 --token-file /run/credentials/sqm-collector.service/tokens"|' /etc/default/sqm-collector
systemctl daemon-reload
systemctl restart sqm-collector
[[ $(get --output /dev/null --write-out '%{http_code}' "$service/_records") == 401 ]] || die "no token was needed"
get --fail --header 'Authorization: Bearer 0123456789abcdef' --output /dev/null "$service/_records" || die "the token is refused"
rm -r /etc/sqm /etc/systemd/system/sqm-collector.service.d
cp default /etc/default/sqm-collector
systemctl daemon-reload
systemctl restart sqm-collector

install_packages /packages/after
[[ $(versions) != "$before" ]] || die "the version is $before as before"
expect_records 2
./first-c "$service" # linked with the library before
expect_records 4

say "Remove"
apt-get remove --yes "${packages[@]}"
[[ ! -e /usr/bin/sqm-collector ]] || die "the server is still there"
[[ -s /var/lib/private/sqm-collector/collected.db ]] || die "what was collected is gone"
[[ -e /etc/default/sqm-collector ]] || die "the configuration is gone"

say "Purge"
dpkg --purge "${packages[@]}"
apt-get autoremove --yes --purge
files >after.txt
diff before.txt after.txt || die "something is left"
say "Nothing is left"
