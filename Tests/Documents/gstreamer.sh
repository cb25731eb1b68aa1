# GStreamer's command gives the packets' bytes that rhohost gives.
build=${LD_LIBRARY_PATH%%:*}
export GST_PLUGIN_PATH=$build/gstreamer-1.0 GST_REGISTRY=$PWD/registry RHO_PLUGIN_PATH=$build
export RHO_MODULE_HELPER=$build/rho-module-helper
cp music/live/a.wav in.wav
# @BLOCK@
rhohost --quiet --fps 25 in.wav expected.mkv
for file in out.mkv expected.mkv; do ffmpeg -v error -i "$file" -f md5 -; done | uniq | wc -l | grep -qx 1
