// The factory of pictavia-vision.so: background removal with OpenCV.

#include "platform/modules/ModuleExport.h"
#include "platform/vision/GrabCutSubjectLifter.h"

PICTAVIA_MODULE_EXPORT platform::SubjectLifter* pictavia_create_subject_lifter() {
    return new platform::vision::GrabCutSubjectLifter;
}
