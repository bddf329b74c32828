#!/usr/bin/env bash
# The packages: what is in them, and whether scchost runs from an unpacked one.
# shellcheck source-path=SCRIPTDIR source=shell.sh
. "$(dirname "$0")/shell.sh"
for tool in cvs dpkg-deb dpkg-shlibdeps file pkg-config; do
  command -v "$tool" >/dev/null || skip "there is no $tool on this machine"
done
version=$(sed -n 's/^project(.* VERSION \([0-9.]*\).*/\1/p' "$sources/CMakeLists.txt")

run 0 cpack --config "$build/CPackConfig.cmake" -G DEB -B "$scratch/packages"
package=$(find "$scratch/packages" -maxdepth 1 -name 'cvsprovider_*.deb')
run 0 dpkg-deb -f "$package" Version Depends
holds "Version: $version-" 'Depends: cvs, ' stdc++6 libc6
# The licence is the owner's to choose.
if command -v lintian >/dev/null; then
  run 2 lintian --allow-root "$package"
  equal 'E: cvsprovider: no-copyright-file' "$output"
else
  echo 'lintian is not installed, and has not looked at the package'
fi

# Unpacked anywhere it is complete, and of one version.
run 0 dpkg-deb -x "$package" "$scratch/root"
usr=$scratch/root/usr
run 0 "$usr/bin/scchost" --version
equal "$version" "$output"
run 0 zcat "$usr/share/doc/cvsprovider/changelog.Debian.gz" "$usr"/share/man/man1/*.gz
holds "cvsprovider ($version-" "cvsprovider $version\" \"User Commands\"" '  * '
export PKG_CONFIG_PATH=$usr/share/pkgconfig
equal "$version" "$(pkg-config --modversion cvsprovider)"
[ -f "$(pkg-config --variable=plugin cvsprovider)" ] || fail "pkg-config does not name the plug-in"
[ -f "$(pkg-config --variable=includedir cvsprovider)/SourceCodeControlSystemProviderInterface.h" ] ||
  fail "pkg-config does not name the header's directory"
mkdir "$scratch/user"
cat >"$scratch/user/CMakeLists.txt" <<EOT
cmake_minimum_required(VERSION 3.25)
project(user LANGUAGES NONE)
find_package(cvsprovider $version REQUIRED CONFIG)
get_target_property(include cvsprovider::host INTERFACE_INCLUDE_DIRECTORIES)
foreach(file \${cvsprovider_PLUGIN} \${include}/SourceCodeControlSystemProviderInterface.h)
  if(NOT EXISTS \${file})
    message(FATAL_ERROR "there is no \${file}")
  endif()
endforeach()
EOT
run 0 cmake -S "$scratch/user" -B "$scratch/user/build" -DCMAKE_PREFIX_PATH="$usr"

export CVSROOT=$scratch/repository
cvs init
mkdir "$scratch/import" && cd "$scratch/import" || exit
echo 1 >main.c
cvs -Q import -m start module vendor start
run 0 "$usr/bin/scchost" checkout "$scratch/work" module
run 0 "$usr/bin/scchost" -C "$scratch/work" status
equal $'Up-to-date\t1.1.1.1\t1.1.1.1\t\tmain.c' "$output"

run 0 cpack --config "$build/CPackSourceConfig.cmake" -B "$scratch/packages"
run 0 tar -tzf "$scratch/packages/cvsprovider-$version-Source.tar.gz"
holds /CMakeLists.txt /tests/packageTest.sh
case $output in
  */build* | *CMakeCache.txt* | */.git/* | *.so$'\n'*) fail "the source package holds more: $output" ;;
esac
finish
