// SPDX-License-Identifier: Apache-2.0
#include <apps/gas_mpi/mpi_team.h>

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include <mpi.h>

#include <apps/common/user_error.h>
#include <apps/gas/cli/command_line.h>
#include <apps/gas/farm/dealer.h>

namespace gas_app {

namespace {

constexpr int question_tag = 1;
constexpr int answer_tag = 2;
/// Between looks for messages: MPI's own waiting would keep a processor busy.
constexpr std::chrono::microseconds pause(500);
/// After which rank 0 tells a rank that it has nothing yet, and a rank gives rank 0 up.
constexpr double usual_wait = 1.0;
constexpr double longest_wait = 120.0;
/// After which a rank that has nothing to do and asks for nothing is taken for dead.
constexpr double idle_wait = 10.0;

/// What a rank sends to rank 0: what it did, if anything, and that it has time.
struct Question {
    bool has_report = false;
    TileReport report;
};

enum class Order {
    work,
    wait,
    stop, ///< all is done
    leave ///< all is done, and a rank is lost, for which the end of MPI would wait
};

struct Answer {
    Order order = Order::stop;
    unsigned unit = 0;
};

double get_seconds() {
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// Messages are small, and go out before they are asked for.
template <typename Message> void send(const Message& message, unsigned rank, int tag) {
    MPI_Send(&message, sizeof message, MPI_BYTE, static_cast<int>(rank), tag, MPI_COMM_WORLD);
}

template <typename Message> bool receive(Message& message, int tag, unsigned& rank) {
    int is_there = 0;
    MPI_Status status = {};
    if (MPI_Iprobe(MPI_ANY_SOURCE, tag, MPI_COMM_WORLD, &is_there, &status) != MPI_SUCCESS ||
        !is_there)
        return false;
    rank = static_cast<unsigned>(status.MPI_SOURCE);
    return MPI_Recv(&message, sizeof message, MPI_BYTE, status.MPI_SOURCE, tag, MPI_COMM_WORLD,
                    MPI_STATUS_IGNORE) == MPI_SUCCESS;
}

/// Rank 0's own work, in a thread. The other thread asks for its questions.
class OwnWork {
  public:
    explicit OwnWork(const Team::Work& work) : m_thread([this, &work] { run(work); }) {}
    ~OwnWork() { answer({Order::stop, 0}); }

    /// Takes its question; throws what its work threw.
    bool ask(Question& question) {
        const std::lock_guard lock(m_mutex);
        if (m_failure)
            std::rethrow_exception(m_failure);
        if (!m_question)
            return false;
        question = *m_question;
        m_question.reset();
        return true;
    }
    void answer(const Answer& answer) {
        const std::lock_guard lock(m_mutex);
        m_answer = answer;
        m_condition.notify_one();
    }

  private:
    void run(const Team::Work& work) {
        try {
            Question question;
            for (;;) {
                std::unique_lock lock(m_mutex);
                m_question = question;
                m_condition.wait(lock, [this] { return m_answer.has_value(); });
                const Answer answer = *m_answer;
                m_answer.reset();
                lock.unlock();
                if (answer.order == Order::stop)
                    return;
                question.has_report = answer.order == Order::work;
                if (question.has_report)
                    question.report = work(answer.unit);
            }
        } catch (...) {
            const std::lock_guard lock(m_mutex);
            m_failure = std::current_exception();
        }
    }

    std::mutex m_mutex;
    std::condition_variable m_condition;
    std::optional<Question> m_question;
    std::optional<Answer> m_answer;
    std::exception_ptr m_failure;
    /// The last member: it uses the others.
    std::jthread m_thread;
};

/// Rank 0 while work is shared.
class Leader {
  public:
    Leader(unsigned unit_count, unsigned rank_count, const Team::Take& take)
        : m_dealer(unit_count, rank_count), m_take(take), m_asked(rank_count),
          m_heard(rank_count, get_seconds()) {}

    /// Whether all ranks are there at the end.
    bool run(const Team::Work& work) {
        OwnWork own(work);
        while (!is_over()) {
            Question question;
            unsigned rank = 0;
            bool is_busy = false;
            if (own.ask(question))
                is_busy = hear(0, question);
            while (receive(question, question_tag, rank))
                is_busy = hear(rank, question);
            for (rank = 0; rank < m_asked.size(); ++rank)
                if (m_asked[rank])
                    reply(rank, own);
            if (!is_busy)
                std::this_thread::sleep_for(pause);
        }
        const bool has_all = std::all_of(m_asked.begin(), m_asked.end(),
                                         [](const auto& asked) { return asked.has_value(); });
        // Those that seem dead may be slow.
        for (unsigned rank = 1; rank < m_asked.size(); ++rank)
            send(Answer{has_all ? Order::stop : Order::leave, 0}, rank, answer_tag);
        return has_all;
    }

  private:
    bool hear(unsigned rank, const Question& question) {
        m_asked[rank] = m_heard[rank] = get_seconds();
        if (question.has_report && m_dealer.take(rank, question.report.unit, get_seconds()))
            m_take(question.report);
        return true;
    }

    void reply(unsigned rank, OwnWork& own) {
        const double now = get_seconds();
        const std::optional<unsigned> unit = m_dealer.deal(rank, now);
        if (!unit && now - *m_asked[rank] < usual_wait)
            return;
        // At the end all wait until it is known whether any is lost.
        if (rank == 0 && !unit)
            return;
        m_asked[rank].reset();
        const Answer answer = unit ? Answer{Order::work, *unit} : Answer{Order::wait, 0};
        if (rank == 0)
            own.answer(answer);
        else
            send(answer, rank, answer_tag);
    }

    /// Whether all is done, and all ranks that live have nothing to do.
    bool is_over() const {
        if (!m_dealer.is_done())
            return false;
        for (unsigned rank = 0; rank < m_asked.size(); ++rank)
            if (!m_asked[rank] && !seems_dead(rank))
                return false;
        return true;
    }

    bool seems_dead(unsigned rank) const {
        const double now = get_seconds();
        return m_dealer.is_idle(rank) ? now - m_heard[rank] > idle_wait
                                      : m_dealer.seems_dead(rank, now);
    }

    Dealer m_dealer;
    const Team::Take& m_take;
    /// Per rank: since when it waits for an answer, and when it was last heard of.
    std::vector<std::optional<double>> m_asked;
    std::vector<double> m_heard;
};

} // namespace

MpiTeam::MpiTeam(int& argument_count, char**& arguments) {
    int provided = 0;
    // One thread of a rank talks.
    MPI_Init_thread(&argument_count, &arguments, MPI_THREAD_FUNNELED, &provided);
    MPI_Comm_set_errhandler(MPI_COMM_WORLD, MPI_ERRORS_RETURN);
    int number = 0;
    MPI_Comm_rank(MPI_COMM_WORLD, &number);
    m_rank = static_cast<unsigned>(number);
    MPI_Comm_size(MPI_COMM_WORLD, &number);
    m_size = static_cast<unsigned>(number);
}

int MpiTeam::finish(int exit_code) const {
    // All ranks find a command line invalid, but one alone may lack a file.
    if (exit_code == exit_failed)
        MPI_Abort(MPI_COMM_WORLD, exit_code);
    if (!m_has_all) {
        std::fflush(nullptr);
        std::_Exit(exit_code);
    }
    MPI_Finalize();
    return exit_code;
}

void MpiTeam::share(unsigned unit_count, const Work& work, const Take& take) {
    if (m_size == 1)
        LoneTeam().share(unit_count, work, take);
    else if (m_rank == 0)
        m_has_all = Leader(unit_count, m_size, take).run(work);
    else
        follow(work);
}

void MpiTeam::follow(const Work& work) {
    Question question;
    for (;;) {
        send(question, 0, question_tag);
        const double start = get_seconds();
        Answer answer;
        unsigned rank = 0;
        while (!receive(answer, answer_tag, rank)) {
            if (get_seconds() - start > longest_wait)
                throw UserError("rank 0 answers no more");
            std::this_thread::sleep_for(pause);
        }
        m_has_all = answer.order != Order::leave;
        if (answer.order == Order::stop || answer.order == Order::leave)
            return;
        question.has_report = answer.order == Order::work;
        if (question.has_report)
            question.report = work(answer.unit);
    }
}

} // namespace gas_app
