#include "rtos/freertos/FreeRtosFrameLayouts.h"

#include <initializer_list>
#include <map>

namespace {

using R = RegisterId;

// Registers saved one after the other from offset on, first to last inclusive.
struct Run {
    Run(unsigned int newOffset, R newFirst) : offset(newOffset), first(newFirst), last(newFirst) {}
    Run(unsigned int newOffset, R newFirst, R newLast) : offset(newOffset), first(newFirst), last(newLast) {}
    unsigned int offset;
    R first;
    R last;
};

FrameLayout layout(unsigned int size, std::initializer_list<Run> runs) {
    std::map<RegisterId, unsigned int> offsets;
    for (const Run& run : runs) {
        unsigned int offset = run.offset;
        for (auto id = static_cast<std::uint32_t>(run.first); id <= static_cast<std::uint32_t>(run.last);
             ++id) {
            offsets[static_cast<RegisterId>(id)] = offset;
            offset += 4;
        }
    }
    return FrameLayout(size, offsets);
}

} // namespace

const FrameLayout FRAMELAYOUT_CM0 = layout(64, {{0, R::REG_R4, R::REG_R11},
                                                {32, R::REG_R0, R::REG_R3},
                                                {48, R::REG_R12},
                                                {52, R::REG_LR},
                                                {56, R::REG_PC},
                                                {60, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_CM0_EXC_RETURN = layout(68, {{0, R::REG_LR_PENDSV},
                                                           {4, R::REG_R4, R::REG_R11},
                                                           {36, R::REG_R0, R::REG_R3},
                                                           {52, R::REG_R12},
                                                           {56, R::REG_LR},
                                                           {60, R::REG_PC},
                                                           {64, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_CM3 = layout(64, {{0, R::REG_R4, R::REG_R11},
                                                {32, R::REG_R0, R::REG_R3},
                                                {48, R::REG_R12},
                                                {52, R::REG_LR},
                                                {56, R::REG_PC},
                                                {60, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_CM3_MPU = layout(68, {{0, R::REG_CONTROL},
                                                    {4, R::REG_R4, R::REG_R11},
                                                    {36, R::REG_R0, R::REG_R3},
                                                    {52, R::REG_R12},
                                                    {56, R::REG_LR},
                                                    {60, R::REG_PC},
                                                    {64, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_CM4F_BASIC = layout(68, {{0, R::REG_R4, R::REG_R11},
                                                       {32, R::REG_LR_PENDSV},
                                                       {36, R::REG_R0, R::REG_R3},
                                                       {52, R::REG_R12},
                                                       {56, R::REG_LR},
                                                       {60, R::REG_PC},
                                                       {64, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_CM4F_BASIC_MPU = layout(72, {{0, R::REG_CONTROL},
                                                           {4, R::REG_R4, R::REG_R11},
                                                           {36, R::REG_LR_PENDSV},
                                                           {40, R::REG_R0, R::REG_R3},
                                                           {56, R::REG_R12},
                                                           {60, R::REG_LR},
                                                           {64, R::REG_PC},
                                                           {68, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_CM4F_EXT = layout(204, {{0, R::REG_R4, R::REG_R11},
                                                      {32, R::REG_LR_PENDSV},
                                                      {36, R::REG_S16, R::REG_S31},
                                                      {100, R::REG_R0, R::REG_R3},
                                                      {116, R::REG_R12},
                                                      {120, R::REG_LR},
                                                      {124, R::REG_PC},
                                                      {128, R::REG_XPSR},
                                                      {132, R::REG_S0, R::REG_S15},
                                                      {196, R::REG_FPSCR}});
const FrameLayout FRAMELAYOUT_CM4F_EXT_MPU = layout(208, {{0, R::REG_CONTROL},
                                                          {4, R::REG_R4, R::REG_R11},
                                                          {36, R::REG_LR_PENDSV},
                                                          {40, R::REG_S16, R::REG_S31},
                                                          {104, R::REG_R0, R::REG_R3},
                                                          {120, R::REG_R12},
                                                          {124, R::REG_LR},
                                                          {128, R::REG_PC},
                                                          {132, R::REG_XPSR},
                                                          {136, R::REG_S0, R::REG_S15},
                                                          {200, R::REG_FPSCR}});
const FrameLayout FRAMELAYOUT_MPU_CONTEXT_BASIC = layout(76, {{0, R::REG_CONTROL},
                                                              {4, R::REG_R4, R::REG_R11},
                                                              {36, R::REG_LR_PENDSV},
                                                              {40, R::REG_SP},
                                                              {44, R::REG_R0, R::REG_R3},
                                                              {60, R::REG_R12},
                                                              {64, R::REG_LR},
                                                              {68, R::REG_PC},
                                                              {72, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_MPU_CONTEXT_EXT = layout(208, {{0, R::REG_S16, R::REG_S31},
                                                             {64, R::REG_S0, R::REG_S15},
                                                             {128, R::REG_FPSCR},
                                                             {132, R::REG_CONTROL},
                                                             {136, R::REG_R4, R::REG_R11},
                                                             {168, R::REG_LR_PENDSV},
                                                             {172, R::REG_SP},
                                                             {176, R::REG_R0, R::REG_R3},
                                                             {192, R::REG_R12},
                                                             {196, R::REG_LR},
                                                             {200, R::REG_PC},
                                                             {204, R::REG_XPSR}});

const FrameLayout FRAMELAYOUT_BASIC_BASIC_NTZ = layout(72, {{0, R::REG_PSPLIM},
                                                            {4, R::REG_LR_PENDSV},
                                                            {8, R::REG_R4, R::REG_R11},
                                                            {40, R::REG_R0, R::REG_R3},
                                                            {56, R::REG_R12},
                                                            {60, R::REG_LR},
                                                            {64, R::REG_PC},
                                                            {68, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_BASIC_BASIC_NTZ_MPU = layout(76, {{0, R::REG_PSPLIM},
                                                                {4, R::REG_CONTROL},
                                                                {8, R::REG_LR_PENDSV},
                                                                {12, R::REG_R4, R::REG_R11},
                                                                {44, R::REG_R0, R::REG_R3},
                                                                {60, R::REG_R12},
                                                                {64, R::REG_LR},
                                                                {68, R::REG_PC},
                                                                {72, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_EXT_BASIC_NTZ = layout(144, {{0, R::REG_PSPLIM},
                                                           {4, R::REG_LR_PENDSV},
                                                           {8, R::REG_R4, R::REG_R11},
                                                           {40, R::REG_R0, R::REG_R3},
                                                           {56, R::REG_R12},
                                                           {60, R::REG_LR},
                                                           {64, R::REG_PC},
                                                           {68, R::REG_XPSR},
                                                           {72, R::REG_S0, R::REG_S15},
                                                           {136, R::REG_FPSCR}});
const FrameLayout FRAMELAYOUT_EXT_BASIC_NTZ_MPU = layout(148, {{0, R::REG_PSPLIM},
                                                               {4, R::REG_CONTROL},
                                                               {8, R::REG_LR_PENDSV},
                                                               {12, R::REG_R4, R::REG_R11},
                                                               {44, R::REG_R0, R::REG_R3},
                                                               {60, R::REG_R12},
                                                               {64, R::REG_LR},
                                                               {68, R::REG_PC},
                                                               {72, R::REG_XPSR},
                                                               {76, R::REG_S0, R::REG_S15},
                                                               {140, R::REG_FPSCR}});
const FrameLayout FRAMELAYOUT_EXT_EXT_NTZ = layout(208, {{0, R::REG_PSPLIM},
                                                         {4, R::REG_LR_PENDSV},
                                                         {8, R::REG_R4, R::REG_R11},
                                                         {40, R::REG_S16, R::REG_S31},
                                                         {104, R::REG_R0, R::REG_R3},
                                                         {120, R::REG_R12},
                                                         {124, R::REG_LR},
                                                         {128, R::REG_PC},
                                                         {132, R::REG_XPSR},
                                                         {136, R::REG_S0, R::REG_S15},
                                                         {200, R::REG_FPSCR}});
const FrameLayout FRAMELAYOUT_EXT_EXT_NTZ_MPU = layout(212, {{0, R::REG_PSPLIM},
                                                             {4, R::REG_CONTROL},
                                                             {8, R::REG_LR_PENDSV},
                                                             {12, R::REG_R4, R::REG_R11},
                                                             {44, R::REG_S16, R::REG_S31},
                                                             {108, R::REG_R0, R::REG_R3},
                                                             {124, R::REG_R12},
                                                             {128, R::REG_LR},
                                                             {132, R::REG_PC},
                                                             {136, R::REG_XPSR},
                                                             {140, R::REG_S0, R::REG_S15},
                                                             {204, R::REG_FPSCR}});

const FrameLayout FRAMELAYOUT_BASIC_BASIC_TZ = layout(76, {{4, R::REG_PSPLIM},
                                                           {8, R::REG_LR_PENDSV},
                                                           {12, R::REG_R4, R::REG_R11},
                                                           {44, R::REG_R0, R::REG_R3},
                                                           {60, R::REG_R12},
                                                           {64, R::REG_LR},
                                                           {68, R::REG_PC},
                                                           {72, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_BASIC_BASIC_TZ_MPU = layout(80, {{4, R::REG_PSPLIM},
                                                               {8, R::REG_CONTROL},
                                                               {12, R::REG_LR_PENDSV},
                                                               {16, R::REG_R4, R::REG_R11},
                                                               {48, R::REG_R0, R::REG_R3},
                                                               {64, R::REG_R12},
                                                               {68, R::REG_LR},
                                                               {72, R::REG_PC},
                                                               {76, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_EXT_BASIC_TZ = layout(148, {{4, R::REG_PSPLIM},
                                                          {8, R::REG_LR_PENDSV},
                                                          {12, R::REG_R4, R::REG_R11},
                                                          {44, R::REG_R0, R::REG_R3},
                                                          {60, R::REG_R12},
                                                          {64, R::REG_LR},
                                                          {68, R::REG_PC},
                                                          {72, R::REG_XPSR},
                                                          {76, R::REG_S0, R::REG_S15},
                                                          {140, R::REG_FPSCR}});
const FrameLayout FRAMELAYOUT_EXT_BASIC_TZ_MPU = layout(152, {{4, R::REG_PSPLIM},
                                                              {8, R::REG_CONTROL},
                                                              {12, R::REG_LR_PENDSV},
                                                              {16, R::REG_R4, R::REG_R11},
                                                              {48, R::REG_R0, R::REG_R3},
                                                              {64, R::REG_R12},
                                                              {68, R::REG_LR},
                                                              {72, R::REG_PC},
                                                              {76, R::REG_XPSR},
                                                              {80, R::REG_S0, R::REG_S15},
                                                              {144, R::REG_FPSCR}});
const FrameLayout FRAMELAYOUT_EXT_EXT_TZ = layout(212, {{4, R::REG_PSPLIM},
                                                        {8, R::REG_LR_PENDSV},
                                                        {12, R::REG_R4, R::REG_R11},
                                                        {44, R::REG_S16, R::REG_S31},
                                                        {108, R::REG_R0, R::REG_R3},
                                                        {124, R::REG_R12},
                                                        {128, R::REG_LR},
                                                        {132, R::REG_PC},
                                                        {136, R::REG_XPSR},
                                                        {140, R::REG_S0, R::REG_S15},
                                                        {204, R::REG_FPSCR}});
const FrameLayout FRAMELAYOUT_EXT_EXT_TZ_MPU = layout(216, {{4, R::REG_PSPLIM},
                                                            {8, R::REG_CONTROL},
                                                            {12, R::REG_LR_PENDSV},
                                                            {16, R::REG_R4, R::REG_R11},
                                                            {48, R::REG_S16, R::REG_S31},
                                                            {112, R::REG_R0, R::REG_R3},
                                                            {128, R::REG_R12},
                                                            {132, R::REG_LR},
                                                            {136, R::REG_PC},
                                                            {140, R::REG_XPSR},
                                                            {144, R::REG_S0, R::REG_S15},
                                                            {208, R::REG_FPSCR}});

const FrameLayout FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ = layout(72, {{8, R::REG_R4, R::REG_R11},
                                                                        {40, R::REG_R0, R::REG_R3},
                                                                        {56, R::REG_R12},
                                                                        {60, R::REG_LR},
                                                                        {64, R::REG_PC},
                                                                        {68, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_BASICSECURE_BASICSSECURE_TZ_MPU = layout(72, {{8, R::REG_R4, R::REG_R11},
                                                                            {40, R::REG_R0, R::REG_R3},
                                                                            {56, R::REG_R12},
                                                                            {60, R::REG_LR},
                                                                            {64, R::REG_PC},
                                                                            {68, R::REG_XPSR}});
const FrameLayout FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ = layout(208, {{8, R::REG_R4, R::REG_R11},
                                                                    {40, R::REG_R0, R::REG_R3},
                                                                    {56, R::REG_R12},
                                                                    {60, R::REG_LR},
                                                                    {64, R::REG_PC},
                                                                    {68, R::REG_XPSR},
                                                                    {72, R::REG_S0, R::REG_S15},
                                                                    {136, R::REG_FPSCR},
                                                                    {144, R::REG_S16, R::REG_S31}});
const FrameLayout FRAMELAYOUT_EXTSECURE_EXTSECURE_TZ_MPU = layout(208, {{8, R::REG_R4, R::REG_R11},
                                                                        {40, R::REG_R0, R::REG_R3},
                                                                        {56, R::REG_R12},
                                                                        {60, R::REG_LR},
                                                                        {64, R::REG_PC},
                                                                        {68, R::REG_XPSR},
                                                                        {72, R::REG_S0, R::REG_S15},
                                                                        {136, R::REG_FPSCR},
                                                                        {144, R::REG_S16, R::REG_S31}});

const FrameLayout FRAMELAYOUT_CA9 = layout(72, {{8, R::REG_R0, R::REG_R3},
                                                {24, R::REG_R4, R::REG_R11},
                                                {56, R::REG_R12},
                                                {60, R::REG_LR},
                                                {64, R::REG_PC},
                                                {68, R::REG_CPSR}});
// Only FPSCR of the floating-point context is reported on this core; the d registers are skipped.
const FrameLayout FRAMELAYOUT_CA9_FPU = layout(332, {{260, R::REG_FPSCR},
                                                     {268, R::REG_R0, R::REG_R3},
                                                     {284, R::REG_R4, R::REG_R11},
                                                     {316, R::REG_R12},
                                                     {320, R::REG_LR},
                                                     {324, R::REG_PC},
                                                     {328, R::REG_CPSR}});
