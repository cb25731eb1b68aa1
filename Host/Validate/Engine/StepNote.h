#pragma once

/// What a child does at the moment, in memory that its parent can still read when the child is dead.

#include "Toolbox/KelUtils/Files/Internal/Descriptor.h"

#include <string>

class StepNote {
 public:
  /// The parent's side. Without memory for it the note stays empty.
  StepNote();
  StepNote(const StepNote&) = delete;
  StepNote& operator=(const StepNote&) = delete;
  ~StepNote();

  /// What the child opens it by, as long as this object lives.
  std::string Path() const;
  /// The last step that the child has noted (NoteStep); empty when there is none.
  std::string Text() const;

  /// The child's side: from now on NoteStep writes to the note at `path`, if it can be opened.
  static void Open(const std::string& path);

 private:
  Descriptor m_file;
  char* m_text = nullptr;
};
