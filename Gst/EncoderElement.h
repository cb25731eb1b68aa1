#pragma once

/// The elements: GstAudioEncoder with a module behind it. One packet of the module is one buffer.

#include "Gst/ElementDescription.h"

#include <gst/gst.h>

/// Registers a type of element for `element`, which has to live until the process ends. False if GStreamer refuses it.
bool RegisterElement(GstPlugin* plugin, const ElementDescription& element);
