#!/bin/sh
# A tour of zstanza on the sample configuration examples/app.conf: builds the
# tool, reads the sample (also as shell variables and JSON), edits a copy of
# it, one edit at a time and as a transaction, and shows what changed.
#
#   sh examples/tour.sh            (BUILD=dir picks the build directory)
set -e
here=$(cd "$(dirname "$0")" && pwd)
top=$(dirname "$here")
build=${BUILD:-$top/build}

cmake -S "$top" -B "$build" -DZBASE_BENCH=OFF >/dev/null
cmake --build "$build" -j2 --target zstanza zdemo >/dev/null
zstanza="$build/tools/zstanza"

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cp "$here/app.conf" "$here/app.conf.obf" "$work/"
cd "$work"

show() {
  printf '\n$ zstanza'
  for arg in "$@"; do
    case $arg in
      *[!A-Za-z0-9_./:=-]*) printf " '%s'" "$arg" ;;
      *) printf ' %s' "$arg" ;;
    esac
  done
  printf '\n'
  "$zstanza" "$@" || printf '(exit code %d)\n' "$?"
}

echo "== Reading ========================================================"
show list app.conf
show list app.conf mirrors
show get app.conf mirrors mirror
show get --int app.conf server workers
show get --bool app.conf server tls
show get app.conf database password
show check app.conf

echo
echo "== For scripts: a format the shell can eval ========================"
show list --format=sh app.conf server
printf '\n$ eval "$(zstanza list --format=sh app.conf server)"; echo "$server_host:$server_workers"\n'
eval "$("$zstanza" list --format=sh app.conf server)"
echo "$server_host:$server_workers"
show get --format=json app.conf mirrors mirror
show get --default 8080 app.conf server port

echo
echo "== Editing a copy ================================================="
show set app.conf server port 9090
show add app.conf mirrors mirror https://m2.example.com/orders https://m4.example.com/orders
show comment app.conf logging level "one of: error, warn, info, debug"
show del app.conf logging "max size"
show set --obfuscated app.conf database password 'n3w-s3cret'
show get app.conf database password
show dump app.conf

echo
echo "== A transaction: several edits, all or nothing ==================="
edits='set server port 9091
set server banner "orders \"blue\""
del --existing logging verbose'
printf '\n$ zstanza apply app.conf <<EOF\n%s\nEOF\n' "$edits"
printf '%s\n' "$edits" | "$zstanza" apply app.conf || printf '(exit code %d: nothing applied)\n' "$?"
show get app.conf server port
edits='set server port 9091
set server banner "orders \"blue\""'
printf '\n$ zstanza apply --verbose app.conf <<EOF\n%s\nEOF\n' "$edits"
printf '%s\n' "$edits" | "$zstanza" apply --verbose app.conf
show get app.conf server banner
show set --check-changed app.conf server port 9091

echo
echo "== What changed ==================================================="
printf '\n$ diff -u app.conf (sample) app.conf (edited)\n'
diff -u "$here/app.conf" app.conf || true

echo
echo "== Errors ========================================================="
show get app.conf server colour
show get --int app.conf logging level
printf '[a]\nthis line has no equals sign\n' > broken.conf
show check broken.conf
show get missing.conf server host
