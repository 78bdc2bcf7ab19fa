# Sourced by the demo and the benchmarks: serves a directory with nginx on loopback.

# free_port: prints a TCP port of 127.0.0.1 that nothing listens on.
free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# port_is_free PORT
port_is_free() {
  ! (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null
}

# start_site DIRECTORY PORT WORKDIR [DIRECTIVES]: serves DIRECTORY at http://127.0.0.1:PORT/ until
# stop_site; sets site_pid. WORKDIR takes nginx's own files; DIRECTIVES are more of the server's.
start_site() {
  local root=$1 port=$2 work=$3 directives=${4:-}
  mkdir -p "$work"
  {
    [ "$(id -u)" -eq 0 ] && echo "user root;"
    cat <<CONF
daemon off;
master_process off;
pid $work/nginx.pid;
error_log $work/error.log;
events { worker_connections 4096; }
http {
  include /etc/nginx/mime.types;
  default_type application/octet-stream;
  log_format target '\$request_uri';
  access_log $work/access.log target;
  client_body_temp_path $work/body;
  proxy_temp_path $work/proxy;
  fastcgi_temp_path $work/fastcgi;
  uwsgi_temp_path $work/uwsgi;
  scgi_temp_path $work/scgi;
  server { listen 127.0.0.1:$port backlog=4096; root $root; index index.html; $directives }
}
CONF
  } >"$work/nginx.conf"
  : >"$work/access.log"
  nginx -p "$work" -c "$work/nginx.conf" 2>"$work/start.log" &
  site_pid=$!
  local tries=0
  while port_is_free "$port"; do
    if ! kill -0 "$site_pid" 2>/dev/null || [ $((tries += 1)) -gt 100 ]; then
      cat "$work/start.log" "$work/error.log" >&2
      return 1
    fi
    sleep 0.1
  done
}

stop_site() {
  [ -n "${site_pid:-}" ] || return 0
  kill "$site_pid" 2>/dev/null || true
  wait "$site_pid" 2>/dev/null || true
  site_pid=
}
