# Read by the tests of pages and examples: starts line_server.py in an empty folder,
# which becomes the working directory; its port is in server.ini. Both go at the end.
# Sets `program` to the path of the test's first argument.
program=$(realpath "$1")
server=$(realpath "$(dirname "$0")/../examples/line_server.py")
folder=$(mktemp -d)
served=
trap '[ -z "$served" ] || kill "$served" 2>/dev/null || true; rm -rf "$folder"' EXIT
cd "$folder"
"$server" server.ini &
served=$!
until [ -e server.ini ] || ! kill -0 "$served"; do sleep 0.05; done
