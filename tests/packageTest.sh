#!/usr/bin/env bash
# The packages: what is in them, and whether scchost runs from an unpacked one.
. "$(dirname "$0")/shell.sh"
version=$(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' "$sources/CMakeLists.txt")

it_packs_the_sources_that_are_committed() {
  local files
  files=$(git -C "$sources" ls-tree -r --name-only HEAD 2>&1) || skip "no clone of git: $files"
  run 0 cpack --config "$build/CPackSourceConfig.cmake" -B "$scratch"
  run 0 tar -tzf "$scratch/cvsprovider-$version-Source.tar.gz"
  equal "$(sort <<<"$files")" "$(sed -n 's,^[^/]*/\(.*[^/]\)$,\1,p' <<<"$output" | sort)"
}

it_makes_a_package_that_is_complete() {
  for tool in cvs dpkg-deb dpkg-shlibdeps file pkg-config; do
    command -v "$tool" >/dev/null || skip "there is no $tool on this machine"
  done
  names=(cvsprovider cvsprovider-native)
  ! grep -qx CVSPROVIDER_NATIVE:BOOL=ON "$build/CMakeCache.txt" ||
    names=(cvsprovider-native cvsprovider)

  # With make as the generator, cpack would first build.
  run 0 cpack --config "$build/CPackConfig.cmake" -G DEB -D CPACK_CMAKE_GENERATOR=Ninja -B "$scratch"
  package=$(echo "$scratch/${names[0]}"_*.deb)
  run 0 dpkg-deb -f "$package" Package Version Conflicts Depends
  holds "Package: ${names[0]}
Version: $version-" "Conflicts: ${names[1]}" 'Depends: cvs, ' stdc++6 libc6

  # Unpacked anywhere it is complete, and of one version.
  run 0 dpkg-deb -x "$package" "$scratch/root"
  usr=$scratch/root/usr
  run 0 "$usr/bin/scchost" --version
  equal "$version" "$output"
  run 0 zcat "$usr/share/doc/${names[0]}/changelog.Debian.gz" "$usr"/share/man/man1/*.gz
  holds "${names[0]} ($version-" "cvsprovider $version\" \"User Commands\"" '  * '
  export PKG_CONFIG_PATH=$usr/share/pkgconfig
  equal "$version" "$(pkg-config --modversion cvsprovider)"
  [ -f "$(pkg-config --variable=plugin cvsprovider)" ] || fail "pkg-config does not name the plug-in"
  header=SourceCodeControlSystemProviderInterface.h
  [ -f "$(pkg-config --variable=includedir cvsprovider)/$header" ] || fail "no header of pkg-config's"
  mkdir "$scratch/user"
  cat >"$scratch/user/CMakeLists.txt" <<EOT
cmake_minimum_required(VERSION 3.25)
project(user LANGUAGES NONE)
find_package(cvsprovider $version REQUIRED CONFIG)
get_target_property(include cvsprovider::host INTERFACE_INCLUDE_DIRECTORIES)
file(SIZE \${cvsprovider_PLUGIN} size)
file(SIZE \${include}/$header size)
EOT
  run 0 cmake -S "$scratch/user" -B "$scratch/user/build" -DCMAKE_PREFIX_PATH="$usr"

  take_tree
  run 0 "$usr/bin/scchost" checkout "$scratch/work" tool/docs/deep
  run 0 "$usr/bin/scchost" -C "$scratch/work" status
  equal $'Up-to-date\t1.1.1.1\t1.1.1.1\t\tg.txt' "$output"
}

run_scenarios "$@"
