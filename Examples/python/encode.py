#!/usr/bin/env python3
"""Lists the encoder modules, changes settings of one, encodes samples with it and compares the packets with them.

    encode.py [LIBRARY [MODULE]]     # librho.so.1, PCMPlugin
"""

import json
import random
import sys
import tempfile

import rho

library = rho.Library(*sys.argv[1:2])
name = sys.argv[2] if len(sys.argv) > 2 else "PCMPlugin"

print("librho", library.version())
for module in library.list_modules():
    print(f"{module['name']}: {module.get('error') or module['description']['name']} ({module['path']})")

compressor = library.load(name).create_compressor()
for setting in library.describe_module(name)["settings"]:
    print(f"  {setting['name']} = {setting['text']} {setting['units']}")

# As texts, all at once; as typed values, one by one; from a preset, which holds what was chosen.
compressor.set(SampleRate=48000, Channels="5.1")
compressor["SampleSize"] = 24
compressor.set_frame_rate(25)
assert (compressor["SampleRate"], compressor.text("Channels"), compressor["DataRate"]) == (48000, "5.1", 864000)
with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
    file.write(compressor.preset())
    file.flush()
    print(json.dumps(json.loads(compressor.preset())))
    compressor = library.load(name).create_compressor()
    compressor.load_preset(file.name)
try:
    compressor.set(SampleRate=192000)
    sys.exit("192000 Hz is not refused")
except rho.WrongUse as error:
    print("refused:", error)

# Blocks of any length come out in packets of one video frame each.
samples = random.Random(1).randbytes(5 * 48000 // 2 * 18 + 18)
encoder = compressor.encoder()
layout = encoder.format()
block = 777 * layout.bytes_per_sample_frame
packets = []
for start in range(0, len(samples), block):
    packets += encoder.encode(samples[start : start + block])
packets += encoder.finish()

time = 0
for packet_time, sample_frames, _ in packets:
    assert packet_time == time and 0 < sample_frames <= layout.sample_frames_per_packet == 1920
    time += sample_frames
if b"".join(packet for _, _, packet in packets) != samples:
    sys.exit("the packets do not hold the samples")
print(f"{len(packets)} packets hold the {time} sample frames, byte for byte")
