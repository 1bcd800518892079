// One row: Windows' changer interface names elements by kind and number and answers in its own terms, so
// whether to move or to inventory by it is for the caller to choose, who then builds the twin.
#include "kiv/changer/commands.h"
#include "kiv/changer/driver_commands.h"
#include "scsi/twin.h"

TWIN(ChangerCmdReadElementStatus, QORChangerCmdReadElementStatus)
