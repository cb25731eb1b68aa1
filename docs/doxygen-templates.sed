3s|^///|/// @file\n///|
/= default;$/d
/ override \{/ s|^( *)(.*)|\1/// As in the interface.\n\1\2|
