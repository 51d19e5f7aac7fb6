// upload: files that are dropped on the page go to the program, one after the other.
import { dropped_message } from "./wire.js";

const mib = 1024 * 1024;
const endings = /\.(mp3|ogg|flac|m3u|lrc)$/i;

function problem_with(file, limit_mib) {
    if (limit_mib === 0)
        return "this run plays a folder of your own: put files there";
    if (!endings.test(file.name))
        return "only MP3, Ogg, FLAC, M3U and LRC files are taken";
    if (file.size === 0)
        return "it is empty";
    return file.size > limit_mib * mib ? `it is larger than ${limit_mib} MiB` : null;
}

async function send_file(file, token) {
    const to = new URLSearchParams({ name: file.name, ...(token && { token }) });
    const answer = await fetch(`upload?${to}`, { method: "POST", body: file });
    return answer.ok ? null : answer.text();
}

// limit: returns the MiB that a file may have; say: shows a line, gone after a while unless `stay`
export function make_upload(frame, picker, token, limit, send, say) {
    async function take(files) {
        const faults = [];
        let kept = 0;
        for (const file of files) {
            say(`Sending ${file.name} …`, true);
            const fault = problem_with(file, limit()) ||
                await send_file(file, token).catch(() => "the player did not answer");
            if (fault)
                faults.push(`${file.name}: ${fault}`);
            else
                kept++;
        }
        if (kept > 0)
            send(dropped_message());
        say(faults.length > 0 ? faults.slice(0, 3).join("\n") : `${kept === 1 ? "1 file" : `${kept} files`} added`);
    }

    const with_files = (event) => event.dataTransfer && event.dataTransfer.types.includes("Files");
    document.addEventListener("dragover", (event) => {
        event.preventDefault(); // else the browser leaves the page for the file
        frame.classList.toggle("open", with_files(event));
    });
    document.addEventListener("dragleave", (event) => {
        if (!event.relatedTarget)
            frame.classList.remove("open");
    });
    document.addEventListener("drop", (event) => {
        event.preventDefault();
        frame.classList.remove("open");
        if (with_files(event))
            take([...event.dataTransfer.files]);
    });
    picker.addEventListener("change", () => {
        take([...picker.files]);
        picker.value = "";
    });
}
