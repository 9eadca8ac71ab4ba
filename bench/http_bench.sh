#!/usr/bin/env bash
# Requests per second and 99th-percentile latency of kzhost answering a small operation over
# loopback, against two references measured in the same run: the HTTP floor (the same HTTP
# library answering a fixed body of the same bytes) and nginx serving those bytes as a static
# file. wrk: 2 threads, 32 connections, 10 seconds each. Everything listens on 127.0.0.1 only and
# is stopped at the end.
#   bench/http_bench.sh [BUILD_DIR]      (default build/bench; scripts/bench builds it)
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
kz_install_deps wrk nginx-light curl
build=${1:-build/bench}
if [ ! -x "$build/host/kzhost/kzhost" ] || [ ! -x "$build/bench/http_floor" ]; then
  cmake --preset bench >/dev/null
  cmake --build --preset bench --target kzhost http_floor
fi
workers=2
duration=${KZ_HTTP_BENCH_SECONDS:-10}
tmp=$(mktemp -d)
pids=()
cleanup() {
  for p in "${pids[@]}"; do kill "$p" 2>/dev/null || true; done
  [ -f "$tmp/nginx.pid" ] && kill "$(cat "$tmp/nginx.pid")" 2>/dev/null || true
  wait 2>/dev/null || true
  rm -rf "$tmp"
}
trap cleanup EXIT

free_port() { python3 -c 'import socket; s=socket.socket(); s.bind(("127.0.0.1",0)); print(s.getsockname()[1])'; }
wait_port() {  # the first line a server prints, with its port
  for _ in $(seq 100); do
    [ -s "$1" ] && return 0
    sleep 0.05
  done
  return 1
}

target='/services/Geometry/pointInEnvelope?point=%7B%22x%22:1,%22y%22:2%7D&envelope=%7B%22xmin%22:0,%22ymin%22:0,%22xmax%22:4,%22ymax%22:4%7D'

"$build/host/kzhost/kzhost" --port 0 --workers $workers >"$tmp/kzhost.out" 2>&1 &
pids+=($!)
wait_port "$tmp/kzhost.out"
kz_port=$(grep -o ':[0-9]*/services' "$tmp/kzhost.out" | tr -dc 0-9)
curl -sf "http://127.0.0.1:$kz_port$target" >"$tmp/body.json"

"$build/bench/http_floor" $workers "$tmp/body.json" >"$tmp/floor.out" &
pids+=($!)
wait_port "$tmp/floor.out"
floor_port=$(awk '{print $2}' "$tmp/floor.out")

nginx_port=$(free_port)
mkdir -p "$tmp/www"
cp "$tmp/body.json" "$tmp/www/body.json"
chmod 755 "$tmp" "$tmp/www" && chmod 644 "$tmp/www/body.json"  # nginx's workers run as another user
cat >"$tmp/nginx.conf" <<CONF
worker_processes $workers;
daemon on;
pid $tmp/nginx.pid;
error_log $tmp/nginx-error.log;
events { worker_connections 1024; }
http {
  access_log off;
  keepalive_requests 1000000;
  client_body_temp_path $tmp/body; proxy_temp_path $tmp/proxy; fastcgi_temp_path $tmp/fastcgi;
  uwsgi_temp_path $tmp/uwsgi; scgi_temp_path $tmp/scgi;
  server {
    listen 127.0.0.1:$nginx_port;
    location / { root $tmp/www; default_type application/json; }
  }
}
CONF
nginx -c "$tmp/nginx.conf" -p "$tmp"
for _ in $(seq 100); do curl -sf "http://127.0.0.1:$nginx_port/body.json" >/dev/null && break; sleep 0.05; done

cmp -s "$tmp/body.json" <(curl -sf "http://127.0.0.1:$floor_port/")
cmp -s "$tmp/body.json" <(curl -sf "http://127.0.0.1:$nginx_port/body.json")

measure() {  # name url: appends "name requests/s p99" to the results
  local out
  out=$(wrk -t2 -c32 -d"${duration}s" --latency "$2")
  echo "$out" >"$tmp/wrk-$1.txt"
  local rps p99
  rps=$(awk '/^Requests\/sec:/ {print $2}' <<<"$out")
  # Answers other than 200 would make a fast server of a broken one.
  if grep -q "Non-2xx" <<<"$out"; then echo "$1: answers other than 200" >&2; exit 1; fi
  p99=$(awk '$1 == "99%" {print $2}' <<<"$out")
  echo "$1 $rps $p99" >>"$tmp/results"
}

# The machine is shared: the three run in turn, several rounds, and each figure is the median of
# its rounds, so that a burst of other work does not fall on one server alone. The ratios are
# also given round by round (each server against the others of its own round), whose median is
# the steadier figure when the machine's speed drifts between rounds.
rounds=${KZ_HTTP_BENCH_ROUNDS:-5}
: >"$tmp/results"
for round in $(seq "$rounds"); do
  measure kzhost "http://127.0.0.1:$kz_port$target"
  measure floor "http://127.0.0.1:$floor_port$target"
  measure nginx "http://127.0.0.1:$nginx_port/body.json"
done

echo "# kzhost over loopback: wrk 2 threads, 32 connections, ${duration} s each, median of $rounds rounds;" \
     "body $(wc -c <"$tmp/body.json") bytes; $workers workers; $(nproc) cpus; load $(cut -d' ' -f1 /proc/loadavg)"
python3 - "$tmp/results" <<'PY'
import re, statistics, sys
def ms(v):
    n = float(re.match(r"[0-9.]+", v).group())
    return n / 1000 if v.endswith("us") else n if v.endswith("ms") else n * 1000
runs = {}
for line in open(sys.argv[1]):
    name, rps, p99 = line.split()
    runs.setdefault(name, []).append((float(rps), ms(p99)))
med = {k: (statistics.median(r for r, _ in v), statistics.median(p for _, p in v)) for k, v in runs.items()}
labels = {"kzhost": "kzhost (pointInEnvelope)", "floor": "HTTP floor (same library)", "nginx": "nginx static file"}
print(f"{'server':<28} {'requests/s':>12} {'p99 ms':>10}   rounds (requests/s)")
for k in ("kzhost", "floor", "nginx"):
    print(f"{labels[k]:<28} {med[k][0]:>12.0f} {med[k][1]:>10.2f}   " + " ".join(f"{r:.0f}" for r, _ in runs[k]))
for other, target in (("floor", "goal"), ("nginx", "aim")):
    paired = [k / o for (k, _), (o, _) in zip(runs["kzhost"], runs[other])]
    print(f"kzhost / {other}: {med['kzhost'][0] / med[other][0]:.2f} of the medians, "
          f"{statistics.median(paired):.2f} round by round ({' '.join(f'{r:.2f}' for r in paired)})   ({target} 0.70)")
PY
