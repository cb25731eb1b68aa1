# Sourced by the scripts beside it: named steps, and a table of how long each has taken.

step_table=()

# step NAME COMMAND...
step() {
  local name=$1 start=$SECONDS
  shift
  echo "== $name"
  "$@"
  step_table+=("$(printf '%3d:%02d  %s' $(((SECONDS - start) / 60)) $(((SECONDS - start) % 60)) "$name")")
}

print_steps() {
  echo "== Time, in minutes"
  printf '%s\n' "${step_table[@]}"
  printf '%3d:%02d  %s\n' $((SECONDS / 60)) $((SECONDS % 60)) "in all"
}
