#include "app/usage.h"

#include "platform/console.h"

namespace kestrune {
namespace {

// The texts stand as users know them, misspellings and blanks included.
// clang-format off

constexpr char usage[] =
    "\n"
    "********************************************************************************\n"
    " Kestrune\n"
    "  This application is used to analyze the state the SMPTE-2059 system to which the Quendrix Corvex5/Ulmira5\n"
    "  card is connected. It can be used to quantify the state of the ST2059 system when operating correctly and it can\n"
    "  also be used to help diagnose suspected problems with the ST2059 system. It can run from hours to weeks.\n"
    "  It is very light: it does not consume any significant computing resources or running memory.\n"
    "\n"
    "  The application is run on a single Corvex5/Ulmira5 card. It will analyze the ST2059 system on both ST2059\n"
    "  enabled SFPs (SFP A and B). It will generate 3 distincts files when it is run. If the files already exist, they\n"
    "  will be appended. The path to the logging folder and the prefix of the files can be specified.\n"
    "\n"
    "  There will be 3 files generated with the following suffixes: _event_log.txt, _period_test_results.txt, and _raw_data:\n"
    "  _event_log.txt: This file will log the the state of all relevant parameters related to ST2059:\n"
    "                  genlock status, genlock settings, ST2059 status, ST2059 settings, ST2059 SFP telemetry,\n"
    "                  and SFP IP statuses for SFP A and SFP B. They will be logged at the start of the application and\n"
    "                  when their statuses change while the application is running. As a convenience, the user will be\n"
    "                  alerted on the command line when there are changes in statuses.\n"
    "  _period_test_results.txt: This file will contain ST2059 performance analysis results for periodic tests. They will for each\n"
    "                            ST2059 enabled SFP and will be performed every 15 minutes and each 24 hours. The analysis will \n"
    "                            use telemetry data from the preceeding time period (the preceeding 15 minutes or 24 hours). Results\n"
    "                            are provided in comma-separated-values format with the test's epoch time, test period length, and SFP label.\n"
    "                            The parameters that are summarized and analyzed are:\n"
    "                               numberOfSyncSinceLastTelemetry, numberOfDelayRespSinceLastTelemetry,\n"
    "                               masterToFollowerDelay, originTimestampJitter, offsetFromMaster,\n"
    "                               meanPathDelay, followerToMasterDelay, delayReqToDelayRespDelay.\n"
    "                            Results will provide the following analyses for time values:\n"
    "                               Minimum, maximum, average, and standard deviation. They will be given in seconds and nanoseconds.\n"
    "  _raw_data: This file will be encrypted. It will contain all possible data related to the ST2059 system by the Corvex5/Ulmira5 card.\n"
    "             In case extra help is needed to diagnose ST2059 issues on site, the raw file can be provided to Quendrix engineers who\n"
    "             can inspect the data for any additional clues not provied by the ordinary periodic test results. Since it saves all\n"
    "             data, it grows large at about 200 MB per day.\n"
    "\n"
    "\n"
    "Usage:\n"
    "  ./Kestrune.exe [help | run | list] [-sn=card_serial_number | -hw=card_index] [-f=log_files_prefix] [-p=log_files_folder_path]\n"
    "                                                  [-d = test_duration_in_hours]\n"
    "\n"
    "  help : Prints use instructions.\n"
    "  list : Lists the available cards in the system.\n"
    "  run  : Runs the performance monitoring.\n"
    "  -sn : The serial number of the card to monitor. If not provided, the -hw value will be used if available.\n"
    "           Otherwise, the first card will be used.\n"
    "  -hw : The card index of the card to monitor. -sn takes precedence. If neither is provided, the first available card will be monitored.\n"
    "  -f : Prefix for log files. The event log file will be appended with \"_event_log.txt\", the raw data file will be appended with \"_raw_data\",\n"
    "          and the period test results file will be appended with \"_period_test_results.txt\".\n"
    "          If the option is not specified, the log files will have the generic prefix \"ptpLog\".\n"
    "  -p : Folder path for the log files. If the option is not specified, log files will be created in the current working directory.\n"
    "  -d : Duration of test in hours. If ommited, the test will continue until the application is terminated by the user (with ctrl+c for example.\n"
    "\n"
    "example: Kestrune.exe list\n"
    "example: Kestrune.exe run -d=Duration -f=test1 -p=C:\\Users\\user1\\Documents -sn=A56298 \n"
    "example: Kestrune.exe run -d=Duration -f=test1 -hw=0 -d=108\n"
    "\n";

constexpr char privilegedUsage[] =
    "\n"
    "********************************************************************************\n"
    "Privileged usage:\n"
    "  ./Kestrune.exe [help] [decypher] [-sf=source_file_name] [-sp=source_file_folder_path]\n"
    "                                                [-df=destination_file_name] [-dp=destination_file_folder_path]\n"
    "\n"
    "  help : Prints privileged use instructions.\n"
    "  decypher : Decyphers a raw ST2059 logging binary file to a comma-separated-values file.\n"
    "  -sf : The file name of the binary logging file. If not specified, the default file name is assumed: \"ptpLog_raw_data\".\n"
    "  -sp : The path to the folder location of the source binary file. If not specified, the current working directory is assumed.\n"
    "  -df : The file name of the decyphered data file. If not specified, the default file name will be used: \"ptpLog_decyphered_raw_data.txt\".\n"
    "  -dp : The path to the folder location of the decyphered raw file. If not specified, the current working directory is assumed.\n"
    "\n"
    "example: Kestrune.exe secret_password decypher\n"
    "\n";

// clang-format on

}  // namespace

void PrintUsage() { PrintToConsole(usage); }

void PrintPrivilegedUsage() { PrintToConsole(privilegedUsage); }

}  // namespace kestrune
