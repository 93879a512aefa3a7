#!/usr/bin/env bash
# regsvr32 on the simulated card under Wine, in a prefix of its own: registers for the user, leaves the servers of others
# alone and takes back only its own registration. Arguments: scripts/wine, the library, a folder for the prefix,
# the class.
set -euo pipefail

wine=$1 library=Z:${2//\//\\}
export WINEPREFIX=$3
class="Software\\Classes\\CLSID\\$4"

rm -rf "$WINEPREFIX"
trap '"$wine" --stop; rm -rf "$WINEPREFIX" "$WINEPREFIX.lock"' EXIT

fail() { echo "failed: $*" >&2; exit 1; }
regsvr32() { "$wine" regsvr32 /s "$@" 2>"$WINEPREFIX.err"; }
server() { "$wine" reg query "$1\\$class\\InprocServer32" /ve 2>/dev/null | tr -d '\r' | sed -n 's/.*REG_SZ *//p'; }
set_server() { "$wine" reg add "$1\\$class\\InprocServer32" /ve /d "$2" /f >/dev/null; }
remove() { "$wine" reg delete "$1\\$class" /f >/dev/null; }
message() { grep -qF "$1" "$WINEPREFIX.err" || fail "no message: $1"; }

"$wine" reg query HKCU >/dev/null  # makes the prefix

regsvr32 "$library" || fail 'registering'
[ "$(server HKCU)" = "$library" ] || fail "registered is $(server HKCU)"
[ -z "$(server HKLM)" ] || fail 'registered for the machine'
"$wine" reg query "HKCU\\$class\\InprocServer32" /v ThreadingModel | grep -q Both || fail 'threading model'
regsvr32 "$library" || fail 'registering again'
regsvr32 /u "$library" || fail 'unregistering'
[ -z "$(server HKCU)" ] || fail 'still registered'
"$wine" reg query "HKCU\\$class" >/dev/null 2>&1 && fail 'the class is left behind'
regsvr32 /u "$library" || fail 'unregistering what is not registered'

for root in HKCU HKLM; do
  set_server $root 'C:\maker\services.dll'
  regsvr32 "$library" && fail "registered beside another server in $root"
  message 'other card services are registered already: C:\maker\services.dll'
  [ "$(server $root)" = 'C:\maker\services.dll' ] || fail "displaced the server in $root"
  [ $root = HKCU ] || [ -z "$(server HKCU)" ] || fail 'hid the server of the machine'
  if [ $root = HKCU ]; then
    regsvr32 /u "$library" && fail 'unregistered another server'
    message 'the registration is that of other card services: C:\maker\services.dll'
    [ "$(server HKCU)" = 'C:\maker\services.dll' ] || fail 'removed another server'
  fi
  remove $root
done
rm -f "$WINEPREFIX.err"
