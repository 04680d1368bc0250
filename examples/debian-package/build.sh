#!/bin/sh
# build.sh VERSION FOLDER: makes orvik-pagewell-example_VERSION_all.deb in the folder.
set -eu
version=$1
folder=$2
here=$(cd "$(dirname "$0")" && pwd)

tree=$(mktemp -d)
trap 'rm -rf "$tree"' EXIT
chmod 755 "$tree"
mkdir -p "$tree/DEBIAN" "$tree/opt/orvik-pagewell/$version/Additional Tools" "$folder"
cp "$here/files/pagewell" "$tree/opt/orvik-pagewell/$version/"
for file in control postinst postrm; do
  sed "s|@VERSION@|$version|g" "$here/debian/$file.in" >"$tree/DEBIAN/$file"
done
chmod 755 "$tree/DEBIAN/postinst" "$tree/DEBIAN/postrm"
dpkg-deb --root-owner-group --build "$tree" "$folder/orvik-pagewell-example_${version}_all.deb"
