# Sourced by the scripts beside it, before they do anything: the comment at the beginning of a script is its help. Ends the
# script when its first argument asks for it.

# Prints the help of the script that runs.
usage() { sed -n '2,/^[^#]/s/^# \?//p' "$(dirname "${BASH_SOURCE[0]}")/$(basename "$0")"; }

# Prints it as an error, for arguments that the script does not take, and ends the script.
wrong_use() {
  usage >&2
  exit 2
}

if [[ ${1-} == --help || ${1-} == -h ]]; then
  usage
  exit
fi
