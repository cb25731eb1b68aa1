#include "Host/Matroska/MatroskaMetadata.h"

#include "Host/Matroska/MatroskaElements.h"

#include <matroska/KaxAttached.h>
#include <matroska/KaxTag.h>

using namespace libmatroska;

void FillTags(KaxTags& element, const SoundMetadata& metadata) {
  constexpr unsigned int kTargetIsTrack = 30;  // the level of tags about a piece of music; 50 is the album
  if (metadata.tags.empty()) {
    return;
  }
  auto& group = AddNewChild<KaxTag>(element);
  Set<KaxTagTargetTypeValue>(GetChild<KaxTagTargets>(group), kTargetIsTrack);
  for (const SoundMetadata::Tag& tag : metadata.tags) {
    auto& simple = AddNewChild<KaxTagSimple>(group);
    SetText<KaxTagName>(simple, tag.name);
    SetText<KaxTagString>(simple, tag.text);
  }
}

void FillChapters(KaxChapters& element, const SoundMetadata& metadata) {
  if (metadata.chapters.empty()) {
    return;
  }
  // UIDs must not be 0 and must differ. Counting them, instead of random numbers, gives the same file every time.
  auto& edition = AddNewChild<KaxEditionEntry>(element);
  Set<KaxEditionUID>(edition, 1U);
  unsigned int number = 0;
  for (const SoundMetadata::Chapter& chapter : metadata.chapters) {
    auto& atom = AddNewChild<KaxChapterAtom>(edition);
    Set<KaxChapterUID>(atom, ++number);
    // libebml would omit the time 0 of a first chapter.
    SetAlways<KaxChapterTimeStart>(atom, chapter.nanoseconds);
    if (!chapter.label.empty()) {
      auto& display = AddNewChild<KaxChapterDisplay>(atom);
      SetText<KaxChapterString>(display, chapter.label);
      Set<KaxChapterLanguage>(display, std::string("und"));
    }
  }
}

void FillAttachments(KaxAttachments& element, const SoundMetadata& metadata) {
  unsigned int number = 0;
  for (const SoundMetadata::Attachment& attachment : metadata.attachments) {
    auto& file = AddNewChild<KaxAttached>(element);
    if (!attachment.description.empty()) {
      SetText<KaxFileDescription>(file, attachment.description);
    }
    SetText<KaxFileName>(file, attachment.name);
    Set<KaxMimeType>(file, attachment.mimeType);
    Set<KaxFileUID>(file, ++number);
    // Attachments are limited to MetadataBytes::kLimit, so their sizes fit 32 bits.
    GetChild<KaxFileData>(file).CopyBuffer(reinterpret_cast<const binary*>(attachment.bytes.data()),
                                           static_cast<uint32>(attachment.bytes.size()));
  }
}
