import type { AnswerEvent } from "../protocol/messages";
import { useSimulator } from "../ui/context";
import { bytesText } from "../ui/format";
import { type AnswerPicture, pictureOf, shortened } from "./answer";

export function AnswerView({ answer }: { answer: AnswerEvent }) {
  const picture = pictureOf(answer);
  const text = answer.message ?? JSON.stringify(shortened(answer.data ?? null), null, 1);
  return (
    <div class={`answer ${answer.result}`}>
      <h4>Answer</h4>
      {picture && <Picture picture={picture} />}
      <pre tabIndex={0} aria-label="What the page got">
        {answer.result === "error" ? `${answer.status}: ${text}` : text}
      </pre>
    </div>
  );
}

function Picture({ picture }: { picture: AnswerPicture }) {
  const { client, model } = useSimulator();
  if (picture.file !== null && !model.state?.files.some(({ name }) => name === picture.file))
    return <p class="hint">The file {picture.file} is no longer there.</p>;
  const address =
    picture.url ??
    (picture.asset !== null ? client.original(picture.asset) : client.file(picture.file ?? ""));
  return (
    <figure>
      {picture.movie ? (
        <video src={address} controls playsInline aria-label="The movie that the page got" />
      ) : (
        <img src={address} alt="What the page got" />
      )}
      {picture.bytes !== null && <figcaption>{bytesText(picture.bytes)}</figcaption>}
    </figure>
  );
}
