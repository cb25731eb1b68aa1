# GStreamer's command gives the packets' bytes that rhohost gives.
export GST_PLUGIN_PATH=${LD_LIBRARY_PATH%%:*}/gstreamer-1.0 GST_REGISTRY=$PWD/registry
cp music/live/a.wav in.wav
# @BLOCK@
rhohost --quiet --fps 25 in.wav expected.mkv
for file in out.mkv expected.mkv; do ffmpeg -v error -i "$file" -f md5 -; done | uniq | wc -l | grep -qx 1
