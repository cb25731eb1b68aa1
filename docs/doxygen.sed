# Global names count only in a file that is documented itself: by the comment at its top, if it has one.
3s|^///|/// @file\n///|
t
3s|^|/// @file\n\n|
/= default;$/d
