#!/bin/sh
# Runs a program beside an inference service whose catalogue is no catalogue, and tells the program the
# service's port and the certificate to trust. Usage: run-with-service.sh SERVICE PROGRAM FOLDER
set -eu
service=$1 program=$2 folder=$3

mkdir -p "$folder/packages"
echo '["no object"]' > "$folder/list.json"
"$service" --packages "$folder/packages" --catalogue "$folder/list.json" --port 0 --https-port 0 \
    --certificate "$folder/ca.pem" > "$folder/said" &
trap 'kill $!' EXIT
for _ in $(seq 100); do
    port=$(sed -n '1s|.*https://localhost:\([0-9]*\)/.*|\1|p' "$folder/said")
    if [ -n "$port" ]; then
        XDG_CACHE_HOME=$folder/cache "$program" "$port" "$folder/ca.pem"
        exit
    fi
    sleep 0.1
done
echo "the service does not start" >&2
exit 1
