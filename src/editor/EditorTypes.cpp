#include "editor/EditorTypes.h"

double aspectRatio(CropAspect aspect) {
    switch (aspect) {
    case CropAspect::Free:
        return 0;
    case CropAspect::Square:
        return 1;
    case CropAspect::Wide:
        return 16.0 / 9.0;
    case CropAspect::Standard:
        return 4.0 / 3.0;
    case CropAspect::Photo:
        return 3.0 / 2.0;
    case CropAspect::Portrait:
        return 9.0 / 16.0;
    }
    return 0;
}
