#!/bin/sh
# settings.sh [NAME] [OPTION...]
# For completion: prints NAME=VALUE for each value that a setting of a module allows, and NAME= for each setting; or, for one
# setting, its values alone. OPTIONs go to "rhohost info".
case ${1-} in
  '' | -*) only= ;;
  *) only=$1 && shift ;;
esac
# In this JSON each name and each value stands on a line of its own.
rhohost info --json "$@" 2>/dev/null | awk -v only="$only" '
  function text(line) { sub(/^[^:]*"[a-zA-Z]*": /, "", line); gsub(/^ *"?|"?,? *$/, "", line); return line }
  /^      "name": / { name = text($0); if (only == "") print name "=" }
  /^      "allowableValues": \[$/ { isList = 1; next }
  /^      \]/ { isList = 0 }
  isList && only == "" { print name "=" text($0) }
  isList && only == name { print text($0) }'
