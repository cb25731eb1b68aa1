# The preset of the documents is applied, and saved as it is.
cat >preset.json <<'END'
# @BLOCK@
END
rhohost --quiet --preset preset.json --channels 5.1 --save-preset saved.json --test-signal 1 out.mkv
cmp preset.json saved.json
