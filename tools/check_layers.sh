#!/usr/bin/env bash
# Fails when a lower layer includes an upper one. Each folder below the server may include only
# itself and the folders named for it here; the layers above may include anything below them.
set -u
cd "$(dirname "$0")/.." || exit 2

declare -A allowed=(
    [platform]="platform"
    [base]="base platform"
    [net]="net base platform"
    [world]="world base platform"
)

status=0
for layer in "${!allowed[@]}"; do
    pattern=$(printf '%s|' ${allowed[$layer]})
    pattern="#include \"(${pattern%|})/"
    while IFS= read -r line; do
        [ -z "$line" ] && continue
        if ! grep -q -E "$pattern" <<<"$line"; then
            echo "layer violation: $line"
            status=1
        fi
    done < <(grep -rn -E '#include "[^"]+/' "src/$layer")
done
[ $status -eq 0 ] && echo "layers: platform < base < net, world < server"
exit $status
