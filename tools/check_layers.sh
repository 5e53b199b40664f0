#!/usr/bin/env bash
# Fails when a lower layer includes an upper one. Each folder below the server may include only
# itself and the folders named for it here; the layers above may include anything below them.
set -u
cd "$(dirname "$0")/.." || exit 2

declare -A allowed=(
    [platform]="platform"
    [base]="base|platform"
    [net]="net|base|platform"
    [world]="world|base|platform"
)

status=0
for layer in "${!allowed[@]}"; do
    if grep -rnE '#include "[^"]+/' "src/$layer" | grep -vE "#include \"(${allowed[$layer]})/"; then
        status=1
    fi
done
[ $status -eq 0 ] && echo "layers: platform < base < net, world < server" || echo "a lower layer includes an upper one"
exit $status
