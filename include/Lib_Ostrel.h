/// @file
/// Everything that Lib_Ostrel.dll exports. A client that needs one class includes that class's own
/// header instead.
#pragma once

#include "CAviConvert.h"
#include "CFileRW.h"
#include "CHTTP.h"
#include "CMemManage.h"
#include "CPtrListCS.h"
#include "CRender.h"
#include "CSFunc.h"
#include "CShareMem.h"
#include "CStdSocket.h"
#include "CStdThread.h"
#include "CWaveOut.h"
#include "CWinAES.h"
#include "CWinRSA.h"
#include "CXmlObj.h"
