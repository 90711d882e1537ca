# Where the programs connect to, fixed at build time; each can be overridden by a stored key or an option.
set(LINGRELAY_STT_URL "wss://stt-rt.soniox.com" CACHE STRING "Recognition service with a key of the user's own")
set(LINGRELAY_TTS_URL "wss://tts-rt.soniox.com" CACHE STRING "Synthesis service with a key of the user's own")
set(LINGRELAY_API_URL "https://api.soniox.com/v1" CACHE STRING "The provider's REST interface")
set(LINGRELAY_BACKEND_URL "" CACHE STRING "Session backend without a key of the user's own; empty: the local service")
set(LINGRELAY_TRANSLATE_URL "" CACHE STRING "Public translation service for when the backend gives nothing; empty: none")
