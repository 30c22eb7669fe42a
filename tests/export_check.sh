#!/usr/bin/env bash
# Checks the dynamic symbol table of libzbase.so: every name it exports
# carries the version suffix _7_0_0, except the few unsuffixed names that the
# library documents: its start-up hooks (the once-only routines *_c_init,
# zonce_init, commonInit), the message-table data of the default message
# service, and the handle classes of the C interface (ZPROP_*).
#
#   tests/export_check.sh [BUILD_DIR or LIBRARY]     (default: build)
set -euo pipefail
target=${1:-$(dirname "$0")/../build}
lib=$target
[[ -d $target ]] && lib=$target/libzbase.so

allowed='^('
allowed+='[A-Za-z_]*_c_init\(\)|zonce_init\(\)|commonInit\(\)'
allowed+='|ZDefaultMsgs|defaultExcFormat|defaultErrorFormat|threadIdFormat|addlInfo|nummsgFormat|noMsgText'
allowed+='|(typeinfo( name)? for |vtable for )?ZPROP_[A-Za-z_]*(::.*)?'
allowed+=')$'

bad=$(nm -D --defined-only "$lib" | awk '{print $NF}' | grep -v '_7_0_0' | c++filt |
  grep -Ev "$allowed" || true)
if [[ -n $bad ]]; then
  echo "export check: $lib exports names without the suffix _7_0_0:" >&2
  printf '  %s\n' "$bad" >&2
  echo "(version them in src/Z/zversion.h, or list library-internal helpers in cmake/zbase.map)" >&2
  exit 1
fi
count=$(nm -D --defined-only "$lib" | wc -l)
echo "export check: $count names exported by $(basename "$lib"), all versioned or documented"
