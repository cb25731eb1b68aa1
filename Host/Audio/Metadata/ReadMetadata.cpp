#include "Host/Audio/Metadata/ReadMetadata.h"

#include "Host/Audio/ByteNumbers.h"
#include "Host/Audio/Id3.h"
#include "Host/Audio/Metadata/FlacMetadata.h"
#include "Host/Audio/Metadata/SndfileMetadata.h"
#include "Host/Audio/Metadata/TaglibMetadata.h"
#include "Host/Plugin/ModuleSearch.h"
#include "Host/Text/Errors.h"

#include <dlfcn.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace {

/// Loads TagReader.so, once for all threads. It stays loaded.
ReadTagsFunction* LoadTagReader() {
  static ReadTagsFunction* const function = [] {
    const std::string path = FindOwnLibrary("TagReader.so");
    void* const library = path.empty() ? nullptr : dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    void* const symbol = library == nullptr ? nullptr : dlsym(library, kReadTags);
    if (symbol == nullptr) {
      const char* const why = path.empty() ? "this installation has none" : dlerror();
      // Not a Failure: a sound without its tags is better than none. Try names them as omitted.
      throw std::runtime_error(fmt::format("cannot load the tag reader: {}", why == nullptr ? "no reason given" : why));
    }
    return reinterpret_cast<ReadTagsFunction*>(symbol);
  }();
  return function;
}

/// Reads one kind of metadata, `what` in messages. If a library throws because of damage, only that kind is omitted; a
/// Failure, which says that the file itself cannot be read, passes through.
template <class Read>
void Try(SoundMetadata& metadata, std::string_view what, const Read& read) {
  try {
    read();
  } catch (const Failure&) {
    throw;
  } catch (const std::exception& error) {
    metadata.omitted.push_back(fmt::format("{}: {}", what, error.what()));
  } catch (...) {
    metadata.omitted.push_back(fmt::format("{}: damaged", what));
  }
}

/// Reads tags with TagLib, and names what is omitted.
void ReadTags(TagFormat format, MetadataBytes& bytes, SoundMetadata& metadata) {
  Try(metadata, "tags", [&] {
    LoadTagReader()(format, bytes, metadata);
    bytes.RethrowFailure();
    if (bytes.IsOverLimit()) {
      metadata.omitted.emplace_back("a part of the tags: too large");
    }
  });
}

/// Reads the ID3v2 tag that a chunk holds. `name` is the file's.
void ReadId3v2(const std::string& name, const std::string& tag, SoundMetadata& metadata) {
  MetadataBytes bytes(name, tag.size(), [&tag](std::uint64_t position, void* to, std::size_t size) {
    // MetadataBytes asks only for bytes within the length that it was given.
    std::memcpy(to, tag.data() + position, size);
    return size;
  });
  ReadTags(TagFormat::kId3v2, bytes, metadata);
}

/// All bytes of a file; of a stream the first `kept` bytes, as far as InputBytes keeps them.
MetadataBytes AllBytes(InputBytes& bytes, std::uint64_t kept) {
  return {bytes.Name(), bytes.IsStream() ? std::min<std::uint64_t>(kept, InputBytes::kMostKept) : bytes.Length(),
          [&bytes](std::uint64_t position, void* to, std::size_t size) { return bytes.ReadAt(position, to, size); }};
}

/// Adds the annotation of an AU file, the text between the header and the samples, which libsndfile does not show:
/// lines of NAME=text, as ffmpeg writes them, or a comment.
void AddAnnotation(InputBytes& bytes, SoundMetadata& metadata) {
  constexpr std::size_t kHeader = 24;
  constexpr std::size_t kLongest = std::size_t{1} << 20;
  std::array<unsigned char, 8> head{};
  bytes.ReadAt(0, head.data(), head.size());
  const std::uint64_t samples = ReadNumber(head.data() + 4, 4, head.front() == '.');  // ".snd", little-endian "dns."
  std::string text(std::min<std::size_t>(kLongest, samples - std::min<std::uint64_t>(samples, kHeader)), '\0');
  text.resize(bytes.ReadAt(kHeader, text.data(), text.size()));
  text.resize(std::min(text.size(), text.find('\0')));
  if (samples > kHeader + kLongest) {
    metadata.omitted.emplace_back("a part of the annotation: too large");
  }
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) {
    lines.push_back(line);
  }
  const bool haveNames = std::all_of(lines.begin(), lines.end(),
                                     [](const std::string& line) { return line.find('=', 1) != std::string::npos; });
  if (!haveNames) {
    lines = {"COMMENT=" + text};
  }
  for (const std::string& line : lines) {
    const std::size_t equals = line.find('=', 1);
    metadata.AddText(line.substr(0, equals), line.substr(equals + 1));
  }
}

}  // namespace

SoundMetadata ReadFlacMetadata(InputBytes& bytes) {
  SoundMetadata metadata;
  Try(metadata, "metadata", [&] {
    MetadataBytes all = AllBytes(bytes, InputBytes::kMostKept);
    AddFlacMetadata(all, AfterId3(bytes), metadata);
  });
  metadata.Complete();
  return metadata;
}

SoundMetadata ReadMpegMetadata(InputBytes& bytes) {
  SoundMetadata metadata;
  Try(metadata, "metadata", [&] {
    // The other tags of MPEG audio lie at its end, which a stream cannot show yet.
    if (!bytes.IsStream() || AfterId3(bytes) != 0) {
      MetadataBytes all = AllBytes(bytes, AfterId3(bytes));
      ReadTags(TagFormat::kMpeg, all, metadata);
    }
  });
  metadata.Complete();
  return metadata;
}

SoundMetadata ReadMetadata(SNDFILE* file, const SF_INFO& info, SndfileIo& io, InputBytes& bytes) {
  SoundMetadata metadata;
  Try(metadata, "metadata", [&] {
    if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_OGG && !bytes.IsStream()) {
      MetadataBytes all = AllBytes(bytes, 0);
      const bool isOpus = (info.format & SF_FORMAT_SUBMASK) == SF_FORMAT_OPUS;
      ReadTags(isOpus ? TagFormat::kOpus : TagFormat::kVorbis, all, metadata);
    } else {
      const auto onId3v2 = [&](const std::string& tag) { ReadId3v2(bytes.Name(), tag, metadata); };
      AddSndfileMetadata(file, info, onId3v2, metadata);
      if ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_AU) {
        AddAnnotation(bytes, metadata);
      }
    }
    io.RethrowFailure();
  });
  metadata.Complete();
  return metadata;
}
