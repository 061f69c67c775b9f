#!/usr/bin/env bash
# Builds the reference with Doxygen, warnings are errors: out/docs/html/index.html. Installs what it needs. From any
# folder, as root or with sudo.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/install-packages.sh docs
rm -rf out/docs
mkdir -p out/docs/facade
cp -r docs/pictures out/docs
doxygen docs/Doxyfile

# Of the façade every parameter is told.
doxygen - <<END
@INCLUDE               = docs/Doxyfile
INPUT                  = include/Nox3DDataConvert.h
OUTPUT_DIRECTORY       = out/docs/facade
WARN_IF_INCOMPLETE_DOC = YES
END
echo "$PWD/out/docs/html/index.html"
