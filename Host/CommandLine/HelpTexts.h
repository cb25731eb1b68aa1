#pragma once

/// The texts of the help before and after the options.

inline constexpr const char* kEncodeUsage =
    "rhohost encodes sound files as linear PCM in Matroska files.\n"
    "\n"
    "Usage:\n"
    "  rhohost [OPTIONS] INPUT OUTPUT          one file; - is a standard stream\n"
    "  rhohost [OPTIONS] --to FOLDER INPUT...  many files, and whole folders\n"
    "  rhohost info [OPTIONS]                  show a module and its settings\n"
    "  rhohost list [OPTIONS]                  show all modules that are found\n"
    "  rhohost validate [OPTIONS] MODULE       check a module\n"
    "  rhohost help [COMMAND]                  show this help, or a command's\n"
    "\n"
    "Options may stand before and after the command and the files; -- ends them.\n";

inline constexpr const char* kEncodeNotes =
    "Examples:\n"
    "  rhohost song.wav song.mkv\n"
    "  rhohost --rate 48000 --bits 24 --verify --to archive ~/recordings\n"
    "  ffmpeg -v error -i film.mp4 -f wav - | rhohost --quiet - sound.mkv\n"
    "\n"
    "Input formats: WAV, RF64, BW64, W64, AIFF, CAF, AU, FLAC, Ogg FLAC, Ogg Vorbis,\n"
    "Opus, MP3 and all others that libsndfile reads; from a pipe, WAV, RF64, BW64,\n"
    "W64, AIFF, CAF, AU, FLAC, Ogg FLAC and MP3.\n"
    "\n"
    "Exit codes: 0 done, 1 something failed and is named, 2 wrong use and nothing\n"
    "was written, 128 + N ended by signal N.\n";

inline constexpr const char* kInfoUsage =
    "Shows what an encoder module and its settings are.\n"
    "\n"
    "Usage:\n"
    "  rhohost info [OPTIONS]\n";

inline constexpr const char* kListUsage =
    "Shows all encoder modules that are found, with the reason for those that\n"
    "cannot be used.\n"
    "\n"
    "Usage:\n"
    "  rhohost list [OPTIONS]\n";

inline constexpr const char* kListNotes =
    "Modules are looked for in the folders of RHO_PLUGIN_PATH (separated by colons),\n"
    "then in $XDG_DATA_HOME/rho/plugins (default: ~/.local/share/rho/plugins), then\n"
    "beside this program and in the system's folder for them. --module takes a name\n"
    "from this list, or a path with a slash.\n";

inline constexpr const char* kValidateUsage =
    "Checks an encoder module, each check in a process of its own.\n"
    "\n"
    "Usage:\n"
    "  rhohost validate [OPTIONS] MODULE\n";

inline constexpr const char* kValidateNotes = "Exit codes: 0 no check failed, 1 some check failed, 2 wrong use.\n";
