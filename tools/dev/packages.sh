# shellcheck shell=bash disable=SC2154 # root is set in ./run
# The Debian packages, a part of ./run: `package` makes them, and the check `package` tries them in a fresh system.

project_version() { sed -nE 's/^project\(SQM VERSION ([^ ]+) .*/\1/p' CMakeLists.txt; }

# make_packages <version> <folder>: from the sources in build/package/sqm. Their date is the last commit's, so that the same
# sources make the same packages.
make_packages() {
  local sources=build/package/sqm
  cp -r "$sources/packaging/debian" "$sources/debian"
  cat >"$sources/debian/changelog" <<TEXT
sqm ($1) unstable; urgency=medium

  * CHANGELOG.md lists the changes.

 -- $(sed -n 's/^Maintainer: //p' "$sources/debian/control")  $(git log -1 --format=%cD)
TEXT
  say "Making the packages of version $1"
  # With the compiler's cache where there is one.
  quietly "package-$1" env -C "$sources" PATH="/usr/lib/ccache:$PATH" dpkg-buildpackage --build=binary --no-sign
  rm -rf "$sources" "${2:?}"
  mv build/package "$2"
}

# package: the packages of the working tree, in build/packages.
package() {
  local file
  rm -rf build/package
  mkdir -p build/package/sqm
  while IFS= read -r -d '' file; do
    if [[ -e $file ]]; then cp --parents --preserve=mode "$file" build/package/sqm; fi
  done < <(git ls-files -z --cached --others --exclude-standard)
  make_packages "$(project_version)" build/packages
  say "Examining the packages"
  # The address of the maintainers is for who publishes the packages to set: the project has none. Log lines that clients
  # know, and texts in headers of others, keep their spelling.
  quietly lintian lintian --fail-on error,warning,info --display-info \
    --suppress-tags bogus-mail-host,bogus-mail-host-in-debian-changelog,spelling-error-in-binary \
    build/packages/*.changes
  say "The packages are in build/packages"
}

# in_system <argument>...: systemd-nspawn in the fresh system, which sees the packages in /packages.
in_system() {
  systemd-nspawn --quiet --register=no --keep-unit --directory=build/package/system \
    --bind-ro="$root/build/packages-before:/packages/before" --bind-ro="$root/build/packages:/packages/after" \
    --bind-ro="$root/packaging/trial.sh:/packages/trial.sh" "$@"
}

# check_package: a user's way from the packages of the commit before to those of the working tree, as packaging/trial.sh
# has it, in a system that is made for it and boots without a network.
check_package() {
  local system=build/package/system
  ((EUID == 0)) || die 1 "the check 'package' makes a system and boots it: call it as root"
  rm -rf build/package
  mkdir -p build/package/sqm
  git archive HEAD~1 | tar -x -C build/package/sqm
  make_packages "$(project_version)~before" build/packages-before
  package
  say "Making a system"
  mkdir -p build/package
  quietly system mmdebstrap --variant=minbase --include=systemd-sysv,dbus,g++,pkg-config,curl,man-db bookworm "$system"
  quietly system-update in_system apt-get update
  quietly system-download in_system sh -c \
    'apt-get install --yes --no-install-recommends --download-only /packages/after/*.deb'
  cat >"$system/etc/systemd/system/trial.service" <<'TEXT'
[Unit]
After=multi-user.target
[Service]
Type=oneshot
TimeoutStartSec=600
ExecStart=/packages/trial.sh
ExecStopPost=/bin/sh -c 'echo $EXIT_STATUS >/root/status; systemctl poweroff --force'
StandardOutput=append:/root/log
StandardError=append:/root/log
[Install]
WantedBy=default.target
TEXT
  in_system systemctl --quiet enable trial.service
  say "Trying the packages in it"
  quietly system-boot in_system --boot --private-network
  grep '^== ' "$system/root/log"
  [[ $(<"$system/root/status") == 0 ]] || { tail -n 40 "$system/root/log" && die 1 "failed: all is in $system/root/log"; }
  rm -rf "$system"
}
