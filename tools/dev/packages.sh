# shellcheck shell=bash disable=SC2154 # root is set in ./run
# The Debian packages, a part of ./run: `package` makes them.

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
  # The address of the maintainers is for who publishes the packages to set: the project has none.
  quietly lintian lintian --fail-on error,warning,info --display-info \
    --suppress-tags bogus-mail-host,bogus-mail-host-in-debian-changelog build/packages/*.changes
  say "The packages are in build/packages"
}
