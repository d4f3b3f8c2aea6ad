# Throwaway database servers for the tests. Source it (bash):
#
#   source scripts/servers.sh
#
# starts a PostgreSQL cluster and a MariaDB server on free loopback ports in a
# temporary folder, creates the database tessark_test on both, and exports
#
#   TESSARK_TEST_PG="host=127.0.0.1 port=NNNN user=tessark password= dbname=tessark_test"
#   TESSARK_TEST_MYSQL="host=127.0.0.1 port=NNNN user=tessark password= dbname=tessark_test"
#
# Both servers are stopped and the folder removed when the sourcing shell
# exits (an EXIT trap), or earlier with tessark_servers_stop.
# Runs as root (PostgreSQL then runs as the postgres user) or as any user.

tessark_servers_log() { echo "servers: $*" >&2; }

tessark_scripts_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

# A loopback port nothing listens on. The server start retries on a clash.
tessark_free_port() {
    local port
    while :; do
        port=$((20000 + RANDOM % 30000))
        if ! (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null; then
            echo "$port"
            return
        fi
    done
}

tessark_servers_stop() {
    local dir=${TESSARK_SERVERS_DIR:-}
    [[ -n "$dir" && -d "$dir" ]] || return 0
    if [[ -f "$dir/pg/postmaster.pid" ]]; then
        "${TESSARK_PG_AS[@]}" "$TESSARK_PG_BIN/pg_ctl" -D "$dir/pg" -m immediate -w stop >/dev/null 2>&1 || true
    fi
    if [[ -n "${TESSARK_MY_PID:-}" ]] && kill -0 "$TESSARK_MY_PID" 2>/dev/null; then
        kill "$TESSARK_MY_PID" 2>/dev/null || true
        local i
        for ((i = 0; i < 100; i++)); do
            kill -0 "$TESSARK_MY_PID" 2>/dev/null || break
            sleep 0.1
        done
        kill -9 "$TESSARK_MY_PID" 2>/dev/null || true
        wait "$TESSARK_MY_PID" 2>/dev/null || true
    fi
    rm -rf "$dir"
    unset TESSARK_SERVERS_DIR TESSARK_MY_PID TESSARK_TEST_PG TESSARK_TEST_MYSQL \
        TESSARK_TEST_PG_DATA TESSARK_TEST_PG_RESTART
}

tessark_start_postgresql() {
    local dir=$TESSARK_SERVERS_DIR attempt port
    TESSARK_PG_BIN=$(ls -d /usr/lib/postgresql/*/bin 2>/dev/null | sort -V | tail -n 1)
    if [[ ! -x "$TESSARK_PG_BIN/initdb" ]]; then
        tessark_servers_log "PostgreSQL is not installed (run scripts/setup)"
        return 1
    fi
    # PostgreSQL refuses to run as root.
    if ((EUID == 0)); then
        TESSARK_PG_AS=(runuser -u postgres --)
        mkdir -p "$dir/pg" "$dir/pgrun"
        chown postgres: "$dir/pg" "$dir/pgrun"
    else
        TESSARK_PG_AS=()
        mkdir -p "$dir/pgrun"
    fi
    "${TESSARK_PG_AS[@]}" "$TESSARK_PG_BIN/initdb" -D "$dir/pg" -A trust -U tessark -E UTF8 \
        --locale=C.UTF-8 >"$dir/pgrun/initdb.log" 2>&1 || {
        tessark_servers_log "initdb failed:"; cat "$dir/pgrun/initdb.log" >&2; return 1; }
    for attempt in 1 2 3 4 5; do
        port=$(tessark_free_port)
        if "${TESSARK_PG_AS[@]}" "$TESSARK_PG_BIN/pg_ctl" -D "$dir/pg" -l "$dir/pgrun/server.log" -w -t 30 \
            -o "-k $dir/pgrun -h 127.0.0.1 -p $port -c fsync=off -c full_page_writes=off" \
            start >/dev/null 2>&1; then
            "$TESSARK_PG_BIN/createdb" -h 127.0.0.1 -p "$port" -U tessark tessark_test || return 1
            export TESSARK_TEST_PG="host=127.0.0.1 port=$port user=tessark password= dbname=tessark_test"
            # For tests of a server that restarts (scripts/restart-postgresql).
            export TESSARK_TEST_PG_DATA="$dir/pg"
            export TESSARK_TEST_PG_RESTART="$tessark_scripts_dir/restart-postgresql"
            return 0
        fi
    done
    tessark_servers_log "PostgreSQL did not start:"
    cat "$dir/pgrun/server.log" >&2
    return 1
}

tessark_start_mariadb() {
    local dir=$TESSARK_SERVERS_DIR attempt port i user=()
    if ! command -v mariadbd >/dev/null || ! command -v mariadb-install-db >/dev/null; then
        tessark_servers_log "MariaDB is not installed (run scripts/setup)"
        return 1
    fi
    ((EUID == 0)) && user=(--user=root)
    mariadb-install-db --no-defaults --datadir="$dir/my" "${user[@]}" \
        --auth-root-authentication-method=normal >"$dir/my-install.log" 2>&1 || {
        tessark_servers_log "mariadb-install-db failed:"; cat "$dir/my-install.log" >&2; return 1; }
    for attempt in 1 2 3 4 5; do
        port=$(tessark_free_port)
        mariadbd --no-defaults --datadir="$dir/my" "${user[@]}" --socket="$dir/my.sock" \
            --port="$port" --bind-address=127.0.0.1 --skip-name-resolve \
            --character-set-server=utf8mb4 --collation-server=utf8mb4_general_ci \
            --innodb-flush-log-at-trx-commit=0 --pid-file="$dir/my.pid" \
            --log-error="$dir/my.err" </dev/null >/dev/null 2>&1 &
        TESSARK_MY_PID=$!
        for ((i = 0; i < 300; i++)); do
            kill -0 "$TESSARK_MY_PID" 2>/dev/null || break
            if mariadb-admin --no-defaults -S "$dir/my.sock" -u root ping >/dev/null 2>&1; then
                mariadb --no-defaults -S "$dir/my.sock" -u root <<'SQL' || return 1
CREATE DATABASE tessark_test CHARACTER SET utf8mb4;
CREATE USER 'tessark'@'127.0.0.1' IDENTIFIED BY '';
GRANT ALL PRIVILEGES ON *.* TO 'tessark'@'127.0.0.1' WITH GRANT OPTION;
SQL
                export TESSARK_TEST_MYSQL="host=127.0.0.1 port=$port user=tessark password= dbname=tessark_test"
                return 0
            fi
            sleep 0.1
        done
        # Died (port taken?) or never answered: try again on another port.
        kill -9 "$TESSARK_MY_PID" 2>/dev/null || true
        wait "$TESSARK_MY_PID" 2>/dev/null || true
        unset TESSARK_MY_PID
    done
    tessark_servers_log "MariaDB did not start:"
    cat "$dir/my.err" >&2
    return 1
}

tessark_servers_start() {
    if [[ -n "${TESSARK_SERVERS_DIR:-}" ]]; then
        tessark_servers_log "already running in $TESSARK_SERVERS_DIR"
        return 0
    fi
    TESSARK_SERVERS_DIR=$(mktemp -d "${TMPDIR:-/tmp}/tessark-servers.XXXXXX")
    chmod 711 "$TESSARK_SERVERS_DIR" # the postgres user must reach its folders inside
    trap tessark_servers_stop EXIT
    if [[ $- != *i* ]]; then
        # A script: stop on interruption too (EXIT then cleans up).
        trap 'exit 130' INT
        trap 'exit 143' TERM
    fi
    if ! tessark_start_postgresql || ! tessark_start_mariadb; then
        tessark_servers_stop
        return 1
    fi
    tessark_servers_log "PostgreSQL: $TESSARK_TEST_PG"
    tessark_servers_log "MariaDB:    $TESSARK_TEST_MYSQL"
}

tessark_servers_start
